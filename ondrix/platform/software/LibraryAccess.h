#pragma once

#include <filesystem>
#include <string>

namespace ondrix::software {

/// Why a module of a shader library should not be opened, which runs whatever code it holds: somebody besides this
/// process's effective user and root may change the module, its folder or a folder above, so the reason names that
/// one. Empty where nobody may. `module` is a path without links, but for its last name.
///
/// Nobody else may: the owner is one of the two, and nobody else may write. Groups that don't count as somebody else
/// are root's, the one that bears the user's own name, and any that root lets write to what is root's. A folder in
/// which everybody may write but only owners may move or delete, such as /tmp, may lie above the library. What lies
/// above this framework's own file, and who owns it, needs no check: they could change the framework itself. Where
/// everybody could, as on file systems that know no owners, nothing is refused.
[[nodiscard]] std::string reasonToDistrust(const std::filesystem::path& module);

/// Looks the user's and the group's names up, which `reasonToDistrust` may need, once. Processes that give up their
/// right to read the system's files do so before.
void prepareToDistrust();

}  // namespace ondrix::software
