#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>

namespace zentrova::monitoring_modules::json::impl {

// The memory of one parsed document. Parsing an answer makes a value for every text, member and
// element of it, and freeing them is a walk over all of them again; an arena hands memory out in
// order from a few large blocks and gives the blocks back together, with the document. Used by
// one thread at a time.
class document_arena {
public:
    // `first_block`: bytes to take at once when the first memory is asked for.
    explicit document_arena(std::size_t first_block);
    ~document_arena();
    document_arena(const document_arena&) = delete;
    document_arena& operator=(const document_arena&) = delete;
    document_arena(document_arena&&) = delete;
    document_arena& operator=(document_arena&&) = delete;

    void* allocate(std::size_t bytes, std::size_t alignment);

    // Gives every block back at once; nothing allocated before may be used afterwards.
    void release();

    // The arena this thread builds a document in, or nullptr.
    static document_arena* current();

    // Makes an arena this thread's current one for its lifetime.
    class building {
    public:
        explicit building(document_arena& arena);
        ~building();
        building(const building&) = delete;
        building& operator=(const building&) = delete;
        building(building&&) = delete;
        building& operator=(building&&) = delete;

    private:
        document_arena* previous_;
    };

private:
    struct block;

    std::size_t first_block_;
    std::size_t next_block_;
    block* blocks_ = nullptr;
    char* free_ = nullptr;
    char* end_ = nullptr;
};

// Memory of kept_off_arena types, whose large buffers go back to the system when freed.
void* allocate_off_arena(std::size_t bytes);
void free_off_arena(void* memory, std::size_t bytes) noexcept;

// Types whose memory never comes from an arena, specialised where they are known. The document
// builder's working stack grows while a document is built and is thrown away with the builder:
// in the arena, every buffer it outgrew would stay until the document goes, several times the
// document's own size.
template <typename T>
struct kept_off_arena : std::false_type {};

// Allocates from the arena this thread is building a document in, and gives nothing back one by
// one there: the arena gives it all back at once. While no document is being built it is the
// standard allocator. Memory is therefore given back under the same condition it was taken in:
// every value of a document is made while it is built and is never destroyed (see
// json_document), and values made outside building live and die outside it. Holding no state,
// all of its objects are equal, which lets the JSON library move values instead of copying them.
template <typename T>
class arena_allocator {
public:
    using value_type = T;
    using is_always_equal = std::true_type;

    arena_allocator() noexcept = default;
    template <typename U>
    // NOLINTNEXTLINE(google-explicit-constructor): allocators convert between element types
    arena_allocator(const arena_allocator<U>& /*other*/) noexcept {}

    T* allocate(std::size_t count) {
        if constexpr (kept_off_arena<T>::value) {
            static_assert(alignof(T) <= alignof(std::max_align_t));
            return static_cast<T*>(allocate_off_arena(count * sizeof(T)));
        }
        document_arena* const arena = document_arena::current();
        if (arena == nullptr) {
            return std::allocator<T>().allocate(count);
        }
        return static_cast<T*>(arena->allocate(count * sizeof(T), alignof(T)));
    }
    void deallocate(T* memory, std::size_t count) noexcept {
        if constexpr (kept_off_arena<T>::value) {
            free_off_arena(memory, count * sizeof(T));
        } else if (document_arena::current() == nullptr) {
            std::allocator<T>().deallocate(memory, count);
        }
    }

    template <typename U>
    bool operator==(const arena_allocator<U>& /*other*/) const noexcept {
        return true;
    }
    template <typename U>
    bool operator!=(const arena_allocator<U>& /*other*/) const noexcept {
        return false;
    }
};

}  // namespace zentrova::monitoring_modules::json::impl
