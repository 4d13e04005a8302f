#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace ondrix {

class MTLCommandBuffer;

/// What is called when a command buffer is done: any callable that takes an `MTLCommandBuffer&`. It can be moved but
/// not copied, and one that is no larger than a few pointers needs no memory of its own, since work that is repeated
/// for every frame should ask for none.
class MTLCommandBufferHandler {
public:
    template <class Function>
    requires(!std::is_same_v<std::remove_cvref_t<Function>, MTLCommandBufferHandler> &&
             std::is_invocable_v<std::decay_t<Function>&, MTLCommandBuffer&>)
        MTLCommandBufferHandler(Function&& function) {
        using Stored = std::decay_t<Function>;
        if constexpr (fits<Stored>) {
            store<Stored>(std::forward<Function>(function));
        } else {
            store<OnHeap<Stored>>(OnHeap<Stored>{std::make_unique<Stored>(std::forward<Function>(function))});
        }
    }
    MTLCommandBufferHandler(MTLCommandBufferHandler&& other) noexcept { take(other); }
    MTLCommandBufferHandler& operator=(MTLCommandBufferHandler&& other) noexcept {
        if (this == &other) return *this;
        reset();
        take(other);
        return *this;
    }
    ~MTLCommandBufferHandler() { reset(); }

    /// Must not be called on an object that was moved from.
    void operator()(MTLCommandBuffer& commandBuffer) { operations_->call(memory_, commandBuffer); }

private:
    struct Operations {
        void (*call)(void* function, MTLCommandBuffer& commandBuffer);
        void (*move)(void* from, void* to) noexcept;  ///< leaves nothing at `from`
        void (*destroy)(void* function) noexcept;
    };

    template <class Stored>
    struct OnHeap {
        std::unique_ptr<Stored> function;
        void operator()(MTLCommandBuffer& commandBuffer) { (*function)(commandBuffer); }
    };

    static constexpr std::size_t size = 4 * sizeof(void*);
    template <class Stored>
    static constexpr bool fits =
        sizeof(Stored) <= size &&
        alignof(Stored) <= alignof(std::max_align_t) && std::is_nothrow_move_constructible_v<Stored>;

    template <class Stored>
    static constexpr Operations operationsOf{
        [](void* function, MTLCommandBuffer& commandBuffer) { (*static_cast<Stored*>(function))(commandBuffer); },
        [](void* from, void* to) noexcept {
            new (to) Stored(std::move(*static_cast<Stored*>(from)));
            static_cast<Stored*>(from)->~Stored();
        },
        [](void* function) noexcept { static_cast<Stored*>(function)->~Stored(); }};

    template <class Stored, class Function>
    void store(Function&& function) {
        new (memory_) Stored(std::forward<Function>(function));
        operations_ = &operationsOf<Stored>;
    }
    void take(MTLCommandBufferHandler& other) noexcept {
        if (other.operations_ != nullptr) other.operations_->move(other.memory_, memory_);
        operations_ = std::exchange(other.operations_, nullptr);
    }
    void reset() noexcept {
        if (operations_ != nullptr) operations_->destroy(memory_);
        operations_ = nullptr;
    }

    alignas(std::max_align_t) std::byte memory_[size];
    const Operations* operations_ = nullptr;
};

}  // namespace ondrix
