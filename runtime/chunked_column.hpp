// Storage pieces of the column store: values in fixed-size chunks, and texts in blocks.
//
// Chunks are shared between copies of a store and copied before a copy's first write to them
// (copy on write): copying a million-row table costs a few hundred pointer copies, and a copy
// that is emptied or only read never copies a value. Growing by chunks never moves the values
// already stored, so a column of a million values never exists twice in memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "host/export.hpp"

namespace nrw {

template <class T>
class ChunkedVector {
 public:
  static constexpr size_t kShift = 14;
  static constexpr size_t kChunk = size_t{1} << kShift;  // values per chunk
  static constexpr size_t kMask = kChunk - 1;

  // `count` copies of `value`, every position in one chunk that they share until one is
  // written: a column of a million nulls costs one chunk.
  static ChunkedVector Filled(size_t count, T value) {
    ChunkedVector out;
    if (count == 0) {
      return out;
    }
    auto chunk = std::make_shared_for_overwrite<T[]>(kChunk);
    std::fill_n(chunk.get(), kChunk, value);
    out.chunks_.assign((count + kMask) >> kShift, chunk);
    out.size_ = count;
    out.capacity_ = out.chunks_.size() * kChunk;
    out.first_ = kChunk;
    return out;
  }

  size_t Size() const { return size_; }
  const T& operator[](size_t i) const { return chunks_[i >> kShift][i & kMask]; }
  // The value, for writing: a chunk shared with another store is copied first.
  T& Mutable(size_t i) { return Own(chunks_[i >> kShift])[i & kMask]; }
  void PushBack(T value) {
    if (size_ == capacity_) {
      Grow();
    }
    Own(chunks_.back())[size_ & kMask] = value;
    ++size_;
  }
  void Reserve(size_t values) { chunks_.reserve((values + kMask) >> kShift); }
  // Keeps a first chunk that no copy shares, for the rows to come: a table emptied and filled
  // again and again (a look-up cursor) then allocates nothing.
  void Clear() {
    if (!chunks_.empty() && chunks_[0].use_count() == 1) {
      chunks_.resize(1);
      capacity_ = first_;
    } else {
      chunks_.clear();
      capacity_ = first_ = 0;
    }
    size_ = 0;
  }

 private:
  static constexpr size_t kFirst = 16;

  // The first chunk starts small and doubles up to a whole chunk, so that a table of a few rows
  // stays small; past it, whole chunks are added and nothing is moved.
  void Grow() {
    if (capacity_ < kChunk) {
      const size_t grown = capacity_ == 0 ? kFirst : capacity_ * 2;
      auto chunk = std::make_shared_for_overwrite<T[]>(grown);
      if (!chunks_.empty()) {
        std::copy(chunks_[0].get(), chunks_[0].get() + size_, chunk.get());
        chunks_[0] = std::move(chunk);
      } else {
        chunks_.push_back(std::move(chunk));
      }
      capacity_ = first_ = grown;
      return;
    }
    chunks_.push_back(std::make_shared_for_overwrite<T[]>(kChunk));
    capacity_ += kChunk;
  }
  // A chunk shared with another store is copied before it is written to.
  T* Own(std::shared_ptr<T[]>& chunk) {
    if (chunk.use_count() > 1) {
      const size_t length = &chunk == &chunks_[0] ? first_ : kChunk;
      auto copy = std::make_shared_for_overwrite<T[]>(length);
      std::copy(chunk.get(), chunk.get() + length, copy.get());
      chunk = std::move(copy);
    }
    return chunk.get();
  }

  std::vector<std::shared_ptr<T[]>> chunks_;
  size_t size_ = 0;
  size_t capacity_ = 0;  // values the chunks hold
  size_t first_ = 0;     // length of the first chunk
};

// Texts packed one after another in shared blocks, each named by a 64-bit handle (block,
// offset, length). Blocks are only ever appended to, and a store appends only to a block it does
// not share, so handles stay valid in every copy.
class NRW_API TextArena {
 public:
  using Handle = uint64_t;
  static constexpr Handle kEmpty = 0;
  // Longest text a handle holds (16 MiB - 1).
  static constexpr size_t kMaxLength = (size_t{1} << 24) - 1;

  std::string_view Text(Handle handle) const {
    const size_t length = handle & kMaxLength;
    if (length == 0) {
      return {};
    }
    const size_t offset = (handle >> 24) & 0xFFFF;
    return {blocks_[handle >> 40].get() + offset, length};
  }
  // Stores a text (at most kMaxLength bytes: the caller checks) and returns its handle.
  Handle Add(std::string_view text);
  // Keeps a first block that no copy shares (texts are written over from its start).
  void Clear() {
    if (!blocks_.empty() && blocks_[0].use_count() == 1) {
      blocks_.resize(1);
      used_ = 0;
    } else {
      blocks_.clear();
      used_ = kBlock;
    }
  }

 private:
  static constexpr size_t kBlock = size_t{1} << 16;  // offsets fit 16 bits

  std::vector<std::shared_ptr<char[]>> blocks_;
  size_t used_ = kBlock;  // bytes used in the last block (full: a new block is needed)
};

}  // namespace nrw
