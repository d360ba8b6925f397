#include "json/impl/document_arena.hpp"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <new>

namespace zentrova::monitoring_modules::json::impl {

namespace {

thread_local document_arena* current_arena = nullptr;

// Blocks are at least this large, so that one block of a finished document fits the next.
constexpr std::size_t smallest_block = std::size_t{128} * 1024U;
// Larger blocks, of an unusually large answer, go back to the system with their document: kept,
// they would hold that answer's memory for the rest of the process.
constexpr std::size_t largest_spare_block = std::size_t{1024} * 1024U;

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

struct document_arena::block {
    block* next;
    std::size_t size;  // of the whole block, this header included
};

document_arena::document_arena(std::size_t first_block)
    : next_block_(std::max(first_block, smallest_block)) {}

document_arena::~document_arena() {
    while (blocks_ != nullptr) {
        block* const next = blocks_->next;
        spares().give(blocks_, blocks_->size);
        blocks_ = next;
    }
}

void* document_arena::allocate(std::size_t bytes, std::size_t alignment) {
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
