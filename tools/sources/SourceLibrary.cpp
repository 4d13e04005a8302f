#include "SourceLibrary.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string_view>
#include <utility>

#include <stdlib.h>

#include <ondrix/platform/quartzcore/CACurrentMediaTime.h>

#include "tools/system/ChildProcess.h"
#include "tools/system/Failure.h"

namespace ondrix::tools {
namespace {

namespace fs = std::filesystem;

constexpr const char* moduleObject = "Module.o";

/// The headers, beside the program in an install tree as well as in a build tree.
fs::path headerFolder() {
    return (fs::canonical("/proc/self/exe").parent_path() / ONDRIX_HEADERS_FROM_PROGRAM).lexically_normal();
}

fs::path exportedSymbols() {
    const fs::path program = fs::canonical("/proc/self/exe");
    return (program.parent_path() / ONDRIX_PACKAGE_FROM_PROGRAM / "shader-module.map").lexically_normal();
}

bool isCppFile(const fs::path& path) {
    return path.extension() == ".cpp" || path.extension() == ".cc" || path.extension() == ".cxx";
}

/// The CPU device tells its level first in the brackets of its name.
std::string levelOf(const Device& device) {
    const std::string name = device.mtlDevice()->name();
    const std::size_t begin = name.find('(') + 1;
    return name.substr(begin, name.find(',', begin) - begin);
}

std::vector<std::string> words(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

void append(std::vector<std::string>& list, std::initializer_list<std::string> more) {
    list.insert(list.end(), more);
}

}  // namespace

void SourceLibrary::Build::use(const std::function<void(const fs::path&)>& user, const std::string& message) const {
    if (error) return error->show();
    try {
        user(folder);
        std::printf("%s, built in %.1f s\n", message.c_str(), seconds);
        std::fflush(stdout);
    } catch (const Failure& failure) {
        complain(failure.what());
    }
}

bool SourceLibrary::isSource(const std::string& name) {
    const fs::path path(name);
    std::error_code error;
    if (!fs::is_directory(path, error)) return isCppFile(path);
    if ((path.has_filename() ? path : path.parent_path()).extension() == ".oxlib") return false;
    const fs::directory_iterator files(path, error);
    return !error && std::any_of(begin(files), end(files), [](const auto& file) { return isCppFile(file.path()); });
}

std::filesystem::path SourceLibrary::folderOf(const std::string& name, const Device& device, const Event& end,
                                              std::optional<SourceLibrary>& source) {
    return isSource(name) ? source.emplace(name, device).buildOnce(end) : fs::path(name);
}

SourceLibrary::SourceLibrary(std::string name, const Device& device) : name_(std::move(name)), level_(levelOf(device)) {
    std::error_code error;
    const fs::path place = fs::canonical(name_, error);
    if (error) throw Failure(name_, error.message());
    const bool isFolder = fs::is_directory(place, error);
    folder_ = (isFolder ? fs::path(name_) / "" : fs::path(name_)).parent_path();
    watchedFolder_ = isFolder ? place : place.parent_path();
    for (const fs::path& file : {headerFolder() / "ondrix/shading/Module.cpp", exportedSymbols()}) {
        if (!fs::exists(file, error))
            throw Failure(name_, "can't be built without the development files, such as " + file.string());
    }
    std::string pattern = (fs::temp_directory_path(error) / "ondrix-library-XXXXXX").string();
    if (error || mkdtemp(pattern.data()) == nullptr) throw Failure(name_, "no temporary folder can be made");
    builds_ = pattern;
}

SourceLibrary::~SourceLibrary() {
    std::error_code ignored;
    fs::remove_all(builds_, ignored);
}

std::optional<SourceLibrary::Build> SourceLibrary::build(const Event& end) {
    const double begin = CACurrentMediaTime();
    if (!prepare(end)) return std::nullopt;
    // The loader of shared libraries knows a module by its file, so a new build under an old name would not be opened.
    // Earlier builds stay, because their modules may be in use.
    const fs::path library = builds_ / (std::to_string(++buildCount_) + ".oxlib");
    std::error_code error;
    if (!fs::create_directory(library, error)) throw Failure(library.string(), error.message());

    std::vector<std::string> arguments = command();
    for (const std::string& source : sources()) arguments.push_back(source);
    append(arguments, {builds_ / moduleObject, "-shared", "-Wl,-Bsymbolic",
                       "-Wl,--version-script=" + exportedSymbols().string(), "-o", library / (level_ + ".so")});
    const auto result = runProcess(arguments, {"LC_ALL=C", "TMPDIR=" + builds_.string()}, end);
    if (!result) return std::nullopt;
    Build build{library, std::nullopt, CACurrentMediaTime() - begin};
    // Whatever the process's mask says, nobody else may change what is about to run.
    fs::permissions(library, fs::perms::owner_all, error);
    fs::permissions(library / (level_ + ".so"), fs::perms::owner_all, error);
    if (result->status != 0) build.error = CompilerError::parse(result->output, folder_, name_);
    return build;
}

std::filesystem::path SourceLibrary::buildOnce(const Event& end) {
    const auto built = build(end);
    if (!built) throw Interrupted(name_, "interrupted while it was built");
    if (built->error) throw Failure(built->error->place, built->error->message);
    return built->folder;
}

bool SourceLibrary::prepare(const Event& end) {
    if (!compiler_.empty()) return true;
    const char* const named = secure_getenv("CXX");
    std::vector<std::vector<std::string>> candidates{{"g++"}, {"c++"}, {"clang++"}};
    if (named != nullptr && !words(named).empty()) candidates = {words(named)};

    std::vector<std::string> found;
    for (const auto& candidate : candidates) {
        std::vector<std::string> arguments = candidate;
        append(arguments, {"-dM", "-E", "-x", "c++", "/dev/null"});  // prints what is defined
        const auto result = runProcess(arguments, {"LC_ALL=C"}, end);
        if (!result) return false;
        if (result->status != 0) continue;
        found = candidate;
        isClang_ = result->output.find("__clang__") != std::string::npos;
        break;
    }
    if (found.empty()) {
        throw Failure(name_, named != nullptr ? "the C++ compiler '" + std::string(named) + "' (CXX) doesn't work"
                                              : "no C++ compiler: there is no g++, and CXX names no other");
    }

    compiler_ = std::move(found);
    std::vector<std::string> arguments = command();
    append(arguments, {"-c", headerFolder() / "ondrix/shading/Module.cpp", "-o", builds_ / moduleObject});
    const auto result = runProcess(arguments, {"LC_ALL=C", "TMPDIR=" + builds_.string()}, end);
    if (!result || result->status != 0) compiler_.clear();
    if (result && result->status != 0) {
        const auto error = CompilerError::parse(result->output, folder_, name_);
        throw Failure(name_, "can't be built: " + error.place + ": " + error.message);
    }
    return result.has_value();
}

/// The options that the function ondrix_add_shader_library of the CMake package gives.
std::vector<std::string> SourceLibrary::command() const {
    std::vector<std::string> options = compiler_;
    append(options,
           {"-std=c++20", "-fPIC", "-O3", "-fvisibility=hidden", "-fvisibility-inlines-hidden", "-ffp-contract=off",
            "-fno-math-errno", "-w", "-I" + headerFolder().string(), "-DONDRIX_SIMD_LEVEL=\"" + level_ + "\""});
    if (isClang_) {
        append(options, {"-mllvm", "-inlinehint-threshold=100000"});
    } else {
        append(options, {"-fno-gnu-unique", "-fdiagnostics-color=never"});
        for (const char* limit :
             {"max-inline-insns-single", "large-function-growth", "inline-unit-growth", "large-stack-frame-growth"})
            options.push_back("--param=" + std::string(limit) + "=100000");
    }
    if (level_ == "plain" || level_ == "checked") options.emplace_back("-DONDRIX_PLAIN");
    if (level_ == "checked") append(options, {"-O1", "-DONDRIX_CHECKED", "-D_GLIBCXX_ASSERTIONS"});
    if (level_.starts_with("x86-64-")) options.push_back("-march=" + level_);
    if (level_ == "x86-64-v4") options.emplace_back("-mprefer-vector-width=512");
    return options;
}

std::vector<std::string> SourceLibrary::sources() const {
    std::error_code error;
    if (!fs::is_directory(name_, error)) return {name_};
    std::vector<std::string> files;
    for (const fs::directory_entry& file : fs::directory_iterator(folder_, error)) {
        if (isCppFile(file.path())) files.push_back(file.path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace ondrix::tools
