// Dense arrays with extents: Array<T, 1> for vectors (points and normals of plane cuts) and
// Array<T, 2> for matrices stored column after column (NURBS control points).
#pragma once

#include <cassert>
#include <initializer_list>
#include <vector>

template <typename T, int N>
class Array;

template <typename T>
class Array<T, 1> {
 public:
  Array() = default;
  explicit Array(int n) : data_(n > 0 ? n : 0, T()) {}
  Array(std::initializer_list<T> values) : data_(values) {}

  int size() const { return static_cast<int>(data_.size()); }
  // The only extent, for d == 0.
  int extent(int d) const { return d == 0 ? size() : 1; }

  T& operator()(int i) { return at(i); }
  const T& operator()(int i) const { return at(i); }
  T& operator[](int i) { return at(i); }
  const T& operator[](int i) const { return at(i); }

  T* data() { return data_.data(); }
  const T* data() const { return data_.data(); }

 private:
  T& at(int i) {
    assert(i >= 0 && i < size());
    return data_[i];
  }
  const T& at(int i) const {
    assert(i >= 0 && i < size());
    return data_[i];
  }

  std::vector<T> data_;
};

template <typename T>
class Array<T, 2> {
 public:
  Array() = default;
  Array(int rows, int cols) { resize(rows, cols); }

  int extent(int d) const { return d == 0 ? rows_ : cols_; }
  // Column after column: consecutive rows are adjacent in memory.
  int stride(int d) const { return d == 0 ? 1 : rows_; }
  int size() const { return rows_ * cols_; }

  T& operator()(int row, int col) { return data_[index(row, col)]; }
  const T& operator()(int row, int col) const { return data_[index(row, col)]; }

  // Storage is reallocated (and zeroed) only when the element count changes.
  void resize(int rows, int cols) {
    rows = rows > 0 ? rows : 0;
    cols = cols > 0 ? cols : 0;
    if (static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols) != data_.size()) {
      data_.assign(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols), T());
    }
    rows_ = rows;
    cols_ = cols;
  }

  T* data() { return data_.data(); }
  const T* data() const { return data_.data(); }

 private:
  std::size_t index(int row, int col) const {
    assert(row >= 0 && row < rows_ && col >= 0 && col < cols_);
    return static_cast<std::size_t>(row) * stride(0) + static_cast<std::size_t>(col) * stride(1);
  }

  std::vector<T> data_;
  int rows_ = 0;
  int cols_ = 0;
};
