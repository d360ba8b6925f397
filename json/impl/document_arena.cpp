#include "json/impl/document_arena.hpp"

#include <algorithm>
#include <memory>
#include <new>

namespace zentrova::monitoring_modules::json::impl {

namespace {

thread_local document_arena* current_arena = nullptr;

}  // namespace

struct document_arena::block {
    block* next;
};

document_arena::document_arena(std::size_t first_block) : next_block_(first_block) {}

document_arena::~document_arena() {
    while (blocks_ != nullptr) {
        block* const next = blocks_->next;
        ::operator delete(blocks_);
        blocks_ = next;
    }
}

void* document_arena::allocate(std::size_t bytes, std::size_t alignment) {
    void* at = free_;
    auto space = static_cast<std::size_t>(end_ - free_);
    if (free_ == nullptr || std::align(alignment, bytes, at, space) == nullptr) {
        // A new block, twice as large as the last, and large enough for this request.
        const std::size_t size = std::max(next_block_, bytes + alignment) + sizeof(block);
        auto* fresh = static_cast<block*>(::operator new(size));
        fresh->next = blocks_;
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
