#pragma once

#include <pdm/pdm_Iterator.h>
#include <pdm/pdm_Numbers.h>
#include <pdm/pdm_Set.h>

#include <optional>
#include <span>
#include <vector>

namespace pdm {

class Field;

/// What a new field or step shall be beside its numbers.
/// Threads: a value; each thread uses values of its own.
struct FieldOptions {
  std::string unit{};        ///< of the numbers; shown and compared, never interpreted
  std::string long_name{};   ///< for people; an element type or the names of components
  int components = 0;        ///< numbers a row; 0: as many as the numbers make
  std::optional<Set> over{}; ///< the items that the rows belong to; all of the map's collection without it
  bool replace = false;      ///< true: a field of that name gives way
  int deflate = 0;           ///< 0: as they are; 1 (fast) to 9 (small): compressed
  int chunk_rows = 0;        ///< rows a chunk; 0: in one block
};

/// One drawer of a field: a row of numbers for each item of a set.
/// Threads: one at a time for all objects of a Sim.
class Drawer {
 public:
  Drawer() = default;

  /// \return its place in the field, from 0.
  int index() const noexcept { return m_index; }
  int rows() const { return described().Items(); }
  /// \return the numbers a row.
  int components() const { return described().Components(); }
  Type type() const { return detail::type_from(described().Type()); }
  /// \return the drawer's own unit; the field's where it has none.
  std::string unit() const;
  std::string long_name() const { return described().LongName().CStr(); }
  /// \return the items that the rows belong to.
  Set set() const;
  /// \return the level it was compressed with, 0 for none.
  int deflate() const { return described().Deflate(); }
  /// \return where other programs find it in the file: the path of its dataset, as
  ///         ORXSimDistributionRef::DatasetPath says; "" for a file that is open live or for writing.
  std::string dataset_path() const;

  /// Reads the drawer, checked against its checksums.
  /// \return [rows()][components()] numbers.
  /// Throws Error when T cannot hold every number of the stored type.
  template <Number T>
  std::vector<T> read() const {
    std::vector<T> values(count());
    read(values);
    return values;
  }
  /// Reads the drawer into memory of the caller, without a copy between when it is of the stored type.
  /// \param out  [rows()][components()] receives the numbers.
  void read(const Buffer& out) const { read_rows(0, rows(), out); }
  /// Reads some rows.
  /// \param first  0-based row.
  /// \param count  number of rows.
  /// \param out    [count][components()] receives the numbers.
  void read_rows(int first, int count, const Buffer& out) const;
  /// Maps the drawer where it lies in the file, [rows()][components()]: no copy, not checked against its
  /// checksums. Throws Error where file, drawer or journal do not allow it; read() works all the same.
  ORXSimMappedDrawer map() const;
  /// Writes the whole drawer. One commit point, unless an update is open.
  /// \param values  [rows()][components()] numbers of a type that the stored one can hold.
  void write(const Numbers& values) const;

  /// \return the distribution that it is a drawer of, for the plain calls.
  ORXSimDistributionID distribution() const;

  /// For this layer alone.
  std::string path() const;
  const detail::File& state() const noexcept;

 private:
  friend class Field;
  // The drawer of a field; with an operation `only` the only one that it has.
  inline Drawer(const Field& field, int index, const char* only);
  // Takes the description from the file. With `only` the field must have no other drawer.
  inline void look(const char* operation, bool only) const;
  inline const ORXSimPersistentDrawerDesc& described() const;
  std::size_t count() const { return detail::size(rows()) * detail::size(components()); }
  void check_type(Type out, const char* operation) const;

  std::shared_ptr<const Field> m_field;
  int m_index = 0;
  mutable ORXSimPersistentDrawerDesc m_description;
  mutable std::uint64_t m_seen = 0; // when the description was last looked at
};

/// Numbers over sets of items, in drawers: of a result a drawer each step, of a connectivity a drawer each
/// block, else one.
/// Threads: one at a time for all objects of a Sim.
class Field : public detail::Entry<ORXSimDistributionID> {
 public:
  using Source = detail::Source<ORXSimDistributionID>;
  Field() = default;
  /// For a distribution of the plain calls.
  Field(std::shared_ptr<const Source> source, std::string name, ORXSimDistributionID id)
      : Entry(std::move(source), std::move(name), id) {}

  /// \return the field's unit; where it has none the first drawer's.
  std::string unit() const;
  /// \return the first drawer's long name.
  std::string long_name() const { return size() == 0 ? std::string() : (*this)[0].long_name(); }
  /// \return the number of drawers.
  int size() const {
    return detail::run(*this, "count the drawers",
                       [&] { return ORXSimDistributionRef(id("count the drawers")).NumDrawers(); });
  }
  bool empty() const { return size() == 0; }
  /// \param index  0-based. Throws Error when there is none of that number.
  Drawer operator[](int index) const;
  /// \return the rows of the only drawer.
  int rows() const { return only("count the rows").rows(); }
  /// \return the numbers a row of the first drawer.
  int components() const { return (*this)[0].components(); }
  /// \return the type of the first drawer's numbers.
  Type type() const { return (*this)[0].type(); }
  /// \return the items that the rows of the only drawer belong to.
  Set set() const { return only("use a set").set(); }

  /// \return the drawers that one step has: 1, or one for each set that the field is over.
  int drawers_a_step() const;
  /// \return the number of steps that are written.
  int steps() const { return empty() ? 0 : size() / drawers_a_step(); }
  /// \return the drawer of a step. Throws Error when there is no such step, or it has several.
  Drawer step(int step) const;
  /// \param time  one of the model's finite times, to a billionth of their range and to its last digits.
  /// Throws
  ///              Error with the nearest.
  Drawer at(double time) const;

  /// Reads the only drawer.
  /// \return [rows()][components()] numbers, checked.
  template <Number T>
  std::vector<T> read() const {
    return only("read a field").template read<T>();
  }
  /// Reads the only drawer into memory of the caller.
  /// \param out  [rows()][components()] receives the numbers.
  void read(const Buffer& out) const { only("read a field").read(out); }
  /// Writes the only drawer anew. One commit point, unless an update is open.
  /// \param values  [rows()][components()] numbers of a type that the stored one can hold.
  void write(const Numbers& values) const { only("write a field").write(values); }
  /// Adds a drawer, such as the next step of a result. One commit point, unless an update is open.
  /// \param values   [rows][components] numbers.
  /// \param options  set and components are the first drawer's unless they are given. `replace` is not used.
  Drawer append(const Numbers& values, const FieldOptions& options = {}) const {
    return add(&values, values.type(), options);
  }
  /// Adds a drawer whose numbers are still to be written: by the ranks of a job, or rows by rows with the
  /// plain calls. Until then they are 0. One commit point, unless an update is open.
  /// \param type     of the numbers.
  /// \param options  as in append(); components are the first drawer's or 1 unless they are given.
  Drawer append_unwritten(Type type, const FieldOptions& options = {}) const {
    return add(nullptr, type, options);
  }

  /// Goes over the drawers as they were when it began.
  using Iterator = detail::Iterator<Field, Drawer>;
  Iterator begin() const { return {std::make_shared<const Field>(*this), size()}; }
  Iterator end() const { return Iterator::end(size()); }

 private:
  friend class Drawer;
  friend class Fields;
  Drawer only(const char* operation) const;
  // Without values their place alone.
  Drawer add(const Numbers* values, Type type, const FieldOptions& options) const;
  ORXSimDistributionID checked(const char* operation) const { return id(operation); }
  ORXSimCollectionID collection() const {
    return m_source->collection == nullptr ? ORXSimCollectionID() : m_source->collection(*m_source);
  }
};

} // namespace pdm

#include <pdm/pdm_FieldImpl.h>
