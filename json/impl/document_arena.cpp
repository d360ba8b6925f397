#include "json/impl/document_arena.hpp"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <new>

#if !defined(_WIN32)
#include <sys/mman.h>
#endif

namespace zentrova::monitoring_modules::json::impl {

namespace {

thread_local document_arena* current_arena = nullptr;

// Blocks are at least this large, so that one block of a finished document fits the next.
constexpr std::size_t smallest_block = std::size_t{128} * 1024U;
// Larger blocks, of an unusually large answer, go back to the system with their document: kept,
// they would hold that answer's memory for the rest of the process.
constexpr std::size_t largest_spare_block = std::size_t{1024} * 1024U;
// Buffers of the document builder's stack this large are mapped from the system: only answers
// of a hundred thousand values and more need them.
constexpr std::size_t smallest_mapped = std::size_t{8} * 1024U * 1024U;

// The blocks of finished documents, kept for the next ones. Every answer takes and gives back
// one block of a hundred kilobytes or more, and the C library gives memory of that size at the
// top of its heap back to the system and takes it again, page by page, check after check.
// Keeps at most as many blocks as documents are usually being built at once.
class spare_blocks {
public:
    spare_blocks() = default;
    ~spare_blocks() {
        for (const auto& [memory, size] : blocks_) {
            ::operator delete(memory);
        }
    }
    spare_blocks(const spare_blocks&) = delete;
    spare_blocks& operator=(const spare_blocks&) = delete;
    spare_blocks(spare_blocks&&) = delete;
    spare_blocks& operator=(spare_blocks&&) = delete;

    // A kept block of at least `size` bytes (then `size` becomes its size), or nullptr.
    void* take(std::size_t& size) {
        const std::lock_guard<std::mutex> guard(mutex_);
        for (std::size_t i = 0; i < count_; ++i) {
            if (blocks_[i].second >= size) {
                void* const memory = blocks_[i].first;
                size = blocks_[i].second;
                blocks_[i] = blocks_[--count_];
                return memory;
            }
        }
        return nullptr;
    }

    // Keeps the block, or frees it when it is large or enough are kept.
    void give(void* memory, std::size_t size) {
        if (size <= largest_spare_block) {
            const std::lock_guard<std::mutex> guard(mutex_);
            if (count_ < blocks_.size()) {
                blocks_[count_++] = {memory, size};
                return;
            }
        }
        ::operator delete(memory);
    }

private:
    std::mutex mutex_;
    std::array<std::pair<void*, std::size_t>, 8> blocks_{};
    std::size_t count_ = 0;
};

spare_blocks& spares() {
    static spare_blocks kept;
    return kept;
}

}  // namespace

// glibc, once it has given back one large mapped block, serves blocks of up to 32 MiB from its
// heap and keeps what is freed there: every buffer the builder's stack outgrew while reading a
// huge answer would stay in the process and count twice in its peak. Smaller buffers come from
// the heap, where the next answer finds them. The Windows heap maps large blocks itself.
void* allocate_off_arena(std::size_t bytes) {
#if !defined(_WIN32)
    if (bytes >= smallest_mapped) {
        void* const memory =
            ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::bad_alloc();
        }
        return memory;
    }
#endif
    return ::operator new(bytes);
}

void free_off_arena(void* memory, [[maybe_unused]] std::size_t bytes) noexcept {
#if !defined(_WIN32)
    if (bytes >= smallest_mapped) {
        ::munmap(memory, bytes);
        return;
    }
#endif
    ::operator delete(memory);
}

struct document_arena::block {
    block* next;
    std::size_t size;  // of the whole block, this header included
};

document_arena::document_arena(std::size_t first_block)
    : first_block_(std::max(first_block, smallest_block)), next_block_(first_block_) {}

document_arena::~document_arena() {
    release();
}

void document_arena::release() {
    while (blocks_ != nullptr) {
        block* const next = blocks_->next;
        spares().give(blocks_, blocks_->size);
        blocks_ = next;
    }
    free_ = nullptr;
    end_ = nullptr;
    next_block_ = first_block_;
}

void* document_arena::allocate(std::size_t bytes, std::size_t alignment) {
    // Every piece starts on a word boundary: the library asks for a long text's memory as bytes,
    // puts a header that needs a word's alignment at its start, and asks again, for more, when
    // the bytes it got are not aligned. Here the first piece would never be given back.
    alignment = std::max(alignment, alignof(void*));
    void* at = free_;
    auto space = static_cast<std::size_t>(end_ - free_);
    if (free_ == nullptr || std::align(alignment, bytes, at, space) == nullptr) {
        // A new block, twice as large as the last, and large enough for this request.
        std::size_t size = std::max(next_block_, bytes + alignment + sizeof(block));
        void* memory = spares().take(size);
        if (memory == nullptr) {
            memory = ::operator new(size);
        }
        auto* fresh = static_cast<block*>(memory);
        fresh->next = blocks_;
        fresh->size = size;
        blocks_ = fresh;
        free_ = reinterpret_cast<char*>(fresh) + sizeof(block);
        end_ = reinterpret_cast<char*>(fresh) + size;
        next_block_ *= 2;
        at = free_;
        space = size - sizeof(block);
        std::align(alignment, bytes, at, space);
    }
    free_ = static_cast<char*>(at) + bytes;
    return at;
}

document_arena* document_arena::current() {
    return current_arena;
}

document_arena::building::building(document_arena& arena) : previous_(current_arena) {
    current_arena = &arena;
}

document_arena::building::~building() {
    current_arena = previous_;
}

}  // namespace zentrova::monitoring_modules::json::impl
