#include <cerrno>
#include <string_view>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>

namespace ondrix {

namespace {

thread_local Failure* collecting = nullptr;
thread_local int wholes = 0;

constexpr const char* outOfMemoryText = "out of memory";  // short enough for a string without memory of its own

void append(std::string& text, const std::string& part) {
    if (!text.empty()) text += ": ";
    text += part;
    while (text.ends_with('.')) text.pop_back();
}

// The class that a file is named after.
std::string_view className(std::string_view file) {
    file.remove_prefix(file.rfind('/') + 1);
    return file.substr(0, file.find('.'));
}

}  // namespace

Failure::Failure() noexcept : outer_(std::exchange(collecting, this)) {}

Failure::~Failure() {
    collecting = outer_;
    for (const Entry& entry : entries_) {
        if (entry.isMessage) Logger::gfx().error("%s", entry.text.c_str());
    }
    if (outOfMemory_) Logger::gfx().error("Out of memory.");
}

Failure* Failure::current() noexcept {
    return collecting;
}

void Failure::because(const char* reason) noexcept {
    if (collecting == nullptr) return;
    try {
        collecting->add(reason, false);
    } catch (const std::bad_alloc&) {
        collecting->outOfMemory_ = true;
    }
}

void Failure::because(const NSError& reason) noexcept {
    because(reason.localizedDescription().c_str());
}

void Failure::outOfMemory(const char* file, const char* function) noexcept {
    errno = ENOMEM;
    if (collecting != nullptr) {
        collecting->outOfMemory_ = true;
        return;
    }
    const std::string_view name = className(file);
    Logger::gfx().error("Out of memory in %.*s::%s.", static_cast<int>(name.size()), name.data(), function);
}

void Failure::message(std::string text) noexcept {
    add(std::move(text), true);
}

void Failure::add(std::string text, bool isMessage) noexcept {
    try {
        entries_.push_back({std::move(text), isMessage});
    } catch (const std::bad_alloc&) {
        outOfMemory_ = true;
    }
}

NSError Failure::take() noexcept {
    const bool lacked = std::exchange(outOfMemory_, false);
    const std::vector<Entry> entries = std::exchange(entries_, {});
    try {
        std::string text;
        for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) append(text, entry->text);
        if (lacked && !text.ends_with(outOfMemoryText)) append(text, outOfMemoryText);
        return NSError(text.empty() ? "no reason was given" : std::move(text));
    } catch (const std::bad_alloc&) {
        return NSError(outOfMemoryText);
    }
}

Failure::Whole::Whole() noexcept {
    ++wholes;
}

Failure::Whole::~Whole() {
    --wholes;
}

bool Failure::isPart() noexcept {
    return wholes > 0;
}

}  // namespace ondrix
