// QorImg::PictureBuffer: the samples of a picture, row by row.
//
// Rows run from the top of the picture (row 0) to its bottom; each row holds
// width × bitsPerSample bits, most significant bit first within each byte, padded
// to `rowStride` bytes. The 1-bit form is what image masks use: a set bit marks the
// sample. Immutable once filled; shared by std::shared_ptr<const>.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <utility>
#include <vector>

namespace QorImg {

class PictureBuffer {
 public:
  // A zeroed buffer; the stride defaults to whole bytes per row.
  PictureBuffer(std::size_t width, std::size_t height, std::uint32_t bitsPerSample,
                std::size_t rowStride = 0)
      : width_(width),
        height_(height),
        bits_per_sample_(bitsPerSample),
        row_stride_(rowStride != 0 ? rowStride : (width * bitsPerSample + 7) / 8),
        data_(row_stride_ * height) {
    if (bitsPerSample == 0 || bitsPerSample > 32) {
      throw std::invalid_argument("PictureBuffer: bits per sample must be 1 to 32");
    }
    if (row_stride_ * 8 < width * bitsPerSample) {
      throw std::invalid_argument("PictureBuffer: row stride shorter than a row");
    }
  }

  // A buffer that adopts `data`: rows of whole bytes, no padding beyond the byte.
  // Throws std::invalid_argument when `data` does not hold exactly that.
  PictureBuffer(std::size_t width, std::size_t height, std::uint32_t bitsPerSample,
                std::vector<std::uint8_t> data)
      : PictureBuffer(width, 0, bitsPerSample) {
    if (data.size() != row_stride_ * height) {
      throw std::invalid_argument("PictureBuffer: data does not hold the rows");
    }
    height_ = height;
    data_ = std::move(data);
  }

  std::size_t GetWidth() const { return width_; }
  std::size_t GetHeight() const { return height_; }
  std::uint32_t GetBitsPerSample() const { return bits_per_sample_; }
  std::size_t GetRowStride() const { return row_stride_; }

  const std::uint8_t* GetBuffer() const { return data_.data(); }
  std::uint8_t* GetBuffer() { return data_.data(); }
  const std::uint8_t* GetRowPtr(std::size_t row) const { return data_.data() + row * row_stride_; }
  std::uint8_t* GetRowPtr(std::size_t row) { return data_.data() + row * row_stride_; }

  // 1-bit access by sample position, for building and checking masks.
  bool GetBit(std::size_t column, std::size_t row) const {
    return (GetRowPtr(row)[column / 8] >> (7 - column % 8)) & 1u;
  }
  void SetBit(std::size_t column, std::size_t row, bool value) {
    std::uint8_t& byte = GetRowPtr(row)[column / 8];
    const auto bit = static_cast<std::uint8_t>(0x80u >> (column % 8));
    byte = value ? static_cast<std::uint8_t>(byte | bit) : static_cast<std::uint8_t>(byte & ~bit);
  }

 private:
  std::size_t width_;
  std::size_t height_;
  std::uint32_t bits_per_sample_;
  std::size_t row_stride_;
  std::vector<std::uint8_t> data_;
};

}  // namespace QorImg
