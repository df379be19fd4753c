// Index-range arrays: vectors, matrices and 3-D arrays whose first index in each
// dimension is chosen by the caller (information matrices run from 1, parameter
// vectors from 0). Storage is one contiguous block per array, released by the
// destructor. A refused allocation ends the run through nrerror with the message
// of the allocator that asked for it. Contents start at zero.
//
// Element access is unchecked in release builds; debug builds assert every index.
#pragma once

#include <cassert>
#include <cstddef>
#include <new>
#include <stdexcept>
#include <vector>

#include "core/nrerror.h"

namespace arrays_detail {
template <class T>
void allocate(std::vector<T>& store, long count, const char* message) {
  if (count < 0) nrerror(message);
  try {
    store.assign(static_cast<std::size_t>(count), T{});
  } catch (const std::bad_alloc&) {
    nrerror(message);
  } catch (const std::length_error&) {
    nrerror(message);
  }
}
}  // namespace arrays_detail

// Vector over [lo, hi]; an empty range has hi = lo - 1.
template <class T>
class Vec {
 public:
  Vec() = default;
  Vec(long lo, long hi, const char* message = "allocation failure in vector()") : lo_(lo), hi_(hi) {
    arrays_detail::allocate(store_, hi - lo + 1, message);
  }
  T& operator[](long i) {
    assert(i >= lo_ && i <= hi_);
    return store_[static_cast<std::size_t>(i - lo_)];
  }
  const T& operator[](long i) const {
    assert(i >= lo_ && i <= hi_);
    return store_[static_cast<std::size_t>(i - lo_)];
  }
  long lo() const { return lo_; }
  long hi() const { return hi_; }
  long size() const { return hi_ - lo_ + 1; }
  T* begin() { return store_.data(); }
  T* end() { return store_.data() + store_.size(); }
  const T* begin() const { return store_.data(); }
  const T* end() const { return store_.data() + store_.size(); }
  void fill(const T& v) { store_.assign(store_.size(), v); }

 private:
  std::vector<T> store_;
  long lo_ = 0, hi_ = -1;
};

// One row of a matrix, indexed by the matrix's column range.
template <class T>
class RowRef {
 public:
  RowRef(T* base, long lo, long hi) : base_(base), lo_(lo), hi_(hi) {}
  T& operator[](long j) const {
    assert(j >= lo_ && j <= hi_);
    return base_[j - lo_];
  }

 private:
  T* base_;
  long lo_, hi_;
};

// Matrix over rows [rlo, rhi] and columns [clo, chi], stored row by row.
template <class T>
class Mat {
 public:
  Mat() = default;
  Mat(long rlo, long rhi, long clo, long chi, const char* rows_message = "allocation failure 1 in dmatrix()",
      const char* block_message = "allocation failure 2 in dmatrix()")
      : rlo_(rlo), rhi_(rhi), clo_(clo), chi_(chi) {
    long rows = rhi - rlo + 1, cols = chi - clo + 1;
    if (rows < 0) nrerror(rows_message);
    if (cols < 0) nrerror(block_message);
    if (cols > 0 && rows > static_cast<long>(std::vector<T>().max_size()) / cols) nrerror(block_message);
    arrays_detail::allocate(store_, rows * cols, block_message);
  }
  RowRef<T> operator[](long i) {
    assert(i >= rlo_ && i <= rhi_);
    return RowRef<T>(store_.data() + (i - rlo_) * cols(), clo_, chi_);
  }
  RowRef<const T> operator[](long i) const {
    assert(i >= rlo_ && i <= rhi_);
    return RowRef<const T>(store_.data() + (i - rlo_) * cols(), clo_, chi_);
  }
  long rlo() const { return rlo_; }
  long rhi() const { return rhi_; }
  long clo() const { return clo_; }
  long chi() const { return chi_; }
  long rows() const { return rhi_ - rlo_ + 1; }
  long cols() const { return chi_ - clo_ + 1; }
  void fill(const T& v) { store_.assign(store_.size(), v); }

 private:
  std::vector<T> store_;
  long rlo_ = 0, rhi_ = -1, clo_ = 0, chi_ = -1;
};

// Three-dimensional array over [rlo, rhi] x [clo, chi] x [dlo, dhi].
template <class T>
class Arr3 {
 public:
  Arr3() = default;
  Arr3(long rlo, long rhi, long clo, long chi, long dlo, long dhi)
      : rlo_(rlo), rhi_(rhi), clo_(clo), chi_(chi), dlo_(dlo), dhi_(dhi) {
    long a = rhi - rlo + 1, b = chi - clo + 1, c = dhi - dlo + 1;
    if (a < 0 || b < 0 || c < 0) nrerror("error in dmatrix3");
    long limit = static_cast<long>(std::vector<T>().max_size());
    if (b > 0 && c > 0 && a > limit / b / c) nrerror("error in dmatrix3");
    arrays_detail::allocate(store_, a * b * c, "error in dmatrix3");
  }
  T& operator()(long i, long j, long k) {
    assert(i >= rlo_ && i <= rhi_ && j >= clo_ && j <= chi_ && k >= dlo_ && k <= dhi_);
    return store_[static_cast<std::size_t>(((i - rlo_) * (chi_ - clo_ + 1) + (j - clo_)) * (dhi_ - dlo_ + 1) +
                                           (k - dlo_))];
  }
  const T& operator()(long i, long j, long k) const { return const_cast<Arr3*>(this)->operator()(i, j, k); }
  void fill(const T& v) { store_.assign(store_.size(), v); }

 private:
  std::vector<T> store_;
  long rlo_ = 0, rhi_ = -1, clo_ = 0, chi_ = -1, dlo_ = 0, dhi_ = -1;
};

// Allocators under their customary names; each reports failure with its own message.
inline Vec<int> ivector(long nl, long nh) { return Vec<int>(nl, nh, "allocation failure in ivector()"); }
inline Vec<double> dvector(long nl, long nh) { return Vec<double>(nl, nh, "allocation failure in vector()"); }
inline Mat<int> imatrix(long nrl, long nrh, long ncl, long nch) {
  return Mat<int>(nrl, nrh, ncl, nch, "allocation failure 1 in imatrix()", "allocation failure 2 in imatrix()");
}
inline Mat<char> cmatrix(long nrl, long nrh, long ncl, long nch) {
  return Mat<char>(nrl, nrh, ncl, nch, "allocation failure 1 in cmatrix()", "allocation failure 2 in imatrix()");
}
inline Mat<double> dmatrix(long nrl, long nrh, long ncl, long nch) {
  return Mat<double>(nrl, nrh, ncl, nch, "allocation failure 1 in dmatrix()", "allocation failure 2 in dmatrix()");
}
inline Arr3<double> dmatrix3(long nrl, long nrh, long ncl, long nch, long ndl, long ndh) {
  return Arr3<double>(nrl, nrh, ncl, nch, ndl, ndh);
}
