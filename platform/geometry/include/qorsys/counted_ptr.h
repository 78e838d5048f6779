// QorSys::CountedPtr: a value shared by a reference count kept in the value's block.
//
// One pointer wide where std::shared_ptr is two, for the parts page objects share by
// the thousand (a placement, painting attributes, a colorant list): a page may hold a
// reference per object, and on a page of small objects the second word was a tenth
// of each. The count is atomic, so references may be copied and dropped on any
// thread; the value is made once in its block and never moves. A default-made or
// moved-from pointer is null.
#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

namespace QorSys {

template <class T>
class CountedPtr {
  // The count before the value: the block is aligned to at least a word, so a
  // holder may keep two flag bits in the low bits of a released pointer.
  struct Block {
    template <class... Args>
    explicit Block(Args&&... args) : value(std::forward<Args>(args)...) {}
    std::atomic<std::size_t> count{1};
    T value;
  };
  static_assert(alignof(Block) >= 4);

 public:
  using element_type = T;

  CountedPtr() = default;
  CountedPtr(std::nullptr_t) {}
  template <class... Args>
  static CountedPtr Make(Args&&... args) {
    return CountedPtr(new Block(std::forward<Args>(args)...));
  }

  CountedPtr(const CountedPtr& other) noexcept : block_(other.block_) { Retain(); }
  CountedPtr(CountedPtr&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  CountedPtr& operator=(const CountedPtr& other) noexcept {
    CountedPtr(other).swap(*this);
    return *this;
  }
  CountedPtr& operator=(CountedPtr&& other) noexcept {
    CountedPtr(std::move(other)).swap(*this);
    return *this;
  }
  ~CountedPtr() { Drop(block_); }

  void swap(CountedPtr& other) noexcept { std::swap(block_, other.block_); }
  void reset() noexcept { CountedPtr().swap(*this); }

  T* get() const noexcept { return block_ ? &block_->value : nullptr; }
  T& operator*() const noexcept { return block_->value; }
  T* operator->() const noexcept { return &block_->value; }
  explicit operator bool() const noexcept { return block_ != nullptr; }
  // The number of references; for tests and for a holder deciding whether a value
  // is its alone.
  std::size_t use_count() const noexcept {
    return block_ ? block_->count.load(std::memory_order_relaxed) : 0;
  }

  friend bool operator==(const CountedPtr& a, const CountedPtr& b) noexcept {
    return a.block_ == b.block_;
  }
  friend bool operator==(const CountedPtr& a, std::nullptr_t) noexcept {
    return a.block_ == nullptr;
  }

  // The reference handed over as a bare block address (for a holder that keeps flag
  // bits beside it) and taken back (Adopt); Share makes another reference to a held
  // address, Peek reads its value.
  const void* Release() noexcept { return std::exchange(block_, nullptr); }
  static CountedPtr Adopt(const void* block) noexcept {
    return CountedPtr(static_cast<Block*>(const_cast<void*>(block)));
  }
  static CountedPtr Share(const void* block) noexcept {
    CountedPtr shared = Adopt(block);
    shared.Retain();
    return shared;
  }
  static T& Peek(const void* block) noexcept {
    return static_cast<Block*>(const_cast<void*>(block))->value;
  }

 private:
  explicit CountedPtr(Block* block) noexcept : block_(block) {}
  void Retain() const noexcept {
    if (block_) block_->count.fetch_add(1, std::memory_order_relaxed);
  }
  static void Drop(Block* block) noexcept {
    if (block && block->count.fetch_sub(1, std::memory_order_acq_rel) == 1) delete block;
  }

  Block* block_ = nullptr;
};

}  // namespace QorSys
