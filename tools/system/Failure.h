#pragma once

#include <stdexcept>
#include <string>

namespace ondrix::tools {

/// Why a command stops. The program shows it as the one line "ondrix: SUBJECT: REASON" and ends with status 1. The
/// subject is the file in question, as the user wrote it.
class Failure : public std::runtime_error {
public:
    Failure(const std::string& subject, const std::string& reason) : std::runtime_error(subject + ": " + reason) {}
};

/// The user ended the command, which left what it had; shown like a `Failure`, with status 130.
class Interrupted : public Failure {
public:
    using Failure::Failure;
};

/// Writes "ondrix: REASON" to standard error as exactly one line, whatever the reason is made of.
void complain(std::string reason);
/// The text without control characters, which could end a line or act on a terminal.
[[nodiscard]] std::string withoutControls(std::string text);
/// Whether standard error shows colours: it is a terminal, and the variable NO_COLOR is unset or empty.
[[nodiscard]] bool usesColours();

}  // namespace ondrix::tools
