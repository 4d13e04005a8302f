#include <exception>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>

namespace ondrix {

namespace {

thread_local Failure* collecting = nullptr;

void add(std::string& text, const std::string& part) {
    if (!text.empty()) text += ": ";
    text += part;
    while (text.ends_with('.')) text.pop_back();
}

}  // namespace

Failure::Failure() noexcept : outer_(std::exchange(collecting, this)) {}

Failure::~Failure() {
    collecting = outer_;
    for (const Entry& entry : entries_) {
        if (entry.isMessage) Logger::gfx().error("%s", entry.text.c_str());
    }
}

Failure* Failure::current() noexcept {
    return collecting;
}

void Failure::because(const char* reason) noexcept {
    if (collecting == nullptr) return;
    try {
        collecting->entries_.push_back({reason, false});
    } catch (const std::exception&) {
        // Without memory for it the reason is lost, not the failure.
    }
}

void Failure::because(const NSError& reason) noexcept {
    because(reason.localizedDescription().c_str());
}

void Failure::message(std::string text) {
    entries_.push_back({std::move(text), true});
}

NSError Failure::take() {
    std::string text;
    for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) add(text, entry->text);
    entries_.clear();
    return NSError(text.empty() ? "no reason was given" : std::move(text));
}

}  // namespace ondrix
