// PixelPlane: one row of values addressed by absolute pixel x.
//
// Line and paint buffers span the pixel box [left, right) but store from index 0;
// the view does the subtraction, so no pointer is ever formed outside the buffer.
#pragma once

namespace QorSc {

template <class T>
class PixelPlane {
 public:
  PixelPlane(T* first, long long left) : first_(first), left_(left) {}

  T& operator[](long long x) const { return first_[x - left_]; }
  // The address of pixel x (left <= x <= right).
  T* At(long long x) const { return first_ + (x - left_); }

 private:
  T* first_;
  long long left_;
};

}  // namespace QorSc
