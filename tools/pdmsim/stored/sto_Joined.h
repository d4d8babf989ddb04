#pragma once

#include <pdmsim/mesh/mesh_Source.h>

#include <algorithm>

/// The rows of several, one after the other, all of one width.
class sto_Joined : public mesh_NumbersBy<sto_Joined> {
 public:
  explicit sto_Joined(std::vector<mesh_NumbersPtr> parts) : m_parts(std::move(parts)) {}

  Type NumberType() const override {
    Type widest = m_parts.empty() ? Type::kDouble : Type::kInt;
    for (const auto& part : m_parts)
      widest = std::max(widest, part->NumberType());
    return widest;
  }
  std::size_t Rows() const override {
    std::size_t rows = 0;
    for (const auto& part : m_parts)
      rows += part->Rows();
    return rows;
  }
  std::size_t Width() const override { return m_parts.empty() ? 1 : m_parts.front()->Width(); }

 private:
  friend class mesh_NumbersBy<sto_Joined>;
  template <class T>
  void ReadAs(std::size_t first, std::size_t count, T* out) const {
    for (const auto& part : m_parts) {
      const std::size_t here = first < part->Rows() ? std::min(count, part->Rows() - first) : 0;
      if (here > 0)
        part->Read(first, here, out);
      out += here * Width();
      count -= here;
      first -= std::min(first, part->Rows());
    }
  }

  std::vector<mesh_NumbersPtr> m_parts;
};

/// Each number of another one's rows as a row of its own.
class sto_Flat : public mesh_NumbersBy<sto_Flat> {
 public:
  explicit sto_Flat(mesh_NumbersPtr rows) : m_rows(std::move(rows)) {}

  Type NumberType() const override { return m_rows->NumberType(); }
  std::size_t Rows() const override { return m_rows->Rows() * m_rows->Width(); }
  std::size_t Width() const override { return 1; }

 private:
  friend class mesh_NumbersBy<sto_Flat>;
  template <class T>
  void ReadAs(std::size_t first, std::size_t count, T* out) const {
    const std::size_t width = m_rows->Width(), row = first / width,
                      rows = (first + count + width - 1) / width - row;
    std::vector<T> whole(rows * width);
    m_rows->Read(row, rows, whole.data());
    std::copy_n(whole.begin() + static_cast<std::ptrdiff_t>(first - row * width), count, out);
  }

  mesh_NumbersPtr m_rows;
};
