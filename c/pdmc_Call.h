#pragma once

#include <pdm.h>
#include <pdm/pdm.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

// What every call of pdm.h goes through: handles are looked up, and what is thrown becomes a status and this
// thread's error.

namespace pdmc {

/// A failure that the caller is told by a code of its own.
class Fault : public pdm::Error {
 public:
  Fault(pdm_status status, std::string file, std::string path, const char* operation, std::string cause,
        std::size_t needed = 0)
      : Error(std::move(file), std::move(path), operation, std::move(cause)), m_status(status),
        m_needed(needed) {}
  pdm_status status() const noexcept { return m_status; }
  std::size_t needed() const noexcept { return m_needed; }

 private:
  pdm_status m_status;
  std::size_t m_needed;
};

/// What messages call something.
template <std::size_t size>
struct Words {
  constexpr Words(const char (&words)[size]) { std::copy_n(words, size, text); }
  char text[size]{};
};
/// What handles of one type are of.
template <class Held, Words words>
struct Kind {
  using Value = Held;
  static constexpr const char* name = words.text;
};
// Declared alone: the type is what counts.
Kind<pdm::Sim, "a Sim"> kind_of(pdm_sim*);
Kind<pdm::Update, "an update"> kind_of(pdm_update*);
Kind<pdm::Mesh, "a mesh"> kind_of(pdm_mesh*);
Kind<pdm::Set, "a set"> kind_of(pdm_set*);
Kind<pdm::Field, "a field"> kind_of(pdm_field*);
Kind<pdm::System, "a system"> kind_of(pdm_system*);
Kind<pdm::Numbering, "a numbering"> kind_of(pdm_numbering*);
Kind<pdm::Pattern, "a pattern"> kind_of(pdm_pattern*);
Kind<std::vector<std::string>, "a list of names"> kind_of(pdm_names*);

/// What a handle stands for, with the texts that a call on it has handed out.
template <class Handle>
struct Thing {
  using Of = decltype(kind_of(static_cast<Handle*>(nullptr)));
  static constexpr const char* kind = Of::name;
  typename Of::Value value;
  std::string name{}, text{}, other{};
};

/// What a handle stands for, and which file it ends with.
struct Entry {
  std::shared_ptr<void> thing;
  const char* const* kind = nullptr; // that of its Thing; equal texts need not be one in all sources
  std::uint64_t file = 0;
};

/// All handles of the process by number. A number is given once.
/// Threads: any.
namespace handles {
void* add(Entry entry);
/// \param wanted  the kind; null: any.
/// Throws Fault when there is none, or of another kind.
Entry find(const void* handle, const char* const* wanted, const char* operation);
/// Takes one out.
/// \param last  receives whether it was the last of a Sim.
Entry take(const void* handle, const char* operation, bool& last);
/// Takes out all of a file, and destroys them but for what is still in use.
void end_file(std::uint64_t file) noexcept;
/// \return whether there is one of that number.
bool is_open(const void* handle) noexcept;
/// \return whether a file has a handle of this kind.
bool has(std::uint64_t file, const char* const* kind);
/// Ends all handles of one thing.
void end_all(const void* thing) noexcept;
/// \return a number that no file has had.
std::uint64_t new_file();
} // namespace handles

/// Keeps what is being thrown as this thread's error.
/// \return its code.
pdm_status failed(const char* operation) noexcept;

/// Does one call.
template <class Work>
pdm_status call(const char* operation, Work&& work) noexcept {
  try {
    std::forward<Work>(work)();
    return PDM_OK;
  } catch (...) {
    return failed(operation);
  }
}

/// What a handle of the caller's stands for, alive as long as this.
template <class Handle>
class Use {
 public:
  Use(Handle* handle, const char* what) : operation(what) {
    Entry entry = handles::find(handle, &Thing<Handle>::kind, what);
    file = entry.file;
    m_thing = std::static_pointer_cast<Thing<Handle>>(std::move(entry.thing));
  }
  auto& operator*() const { return m_thing->value; }
  auto* operator->() const { return &m_thing->value; }
  Thing<Handle>& thing() const { return *m_thing; }
  void end() const noexcept { handles::end_all(m_thing.get()); }

  /// Refuses what the caller gave.
  [[noreturn]] void refuse(pdm_status status, std::string cause, std::size_t needed = 0) const {
    if constexpr (requires { m_thing->value.state(); }) {
      const pdm::detail::File& state = m_thing->value.state();
      throw Fault(status, state == nullptr ? std::string() : state->file, std::string(m_thing->value.path()),
                  operation, std::move(cause), needed);
    }
    throw Fault(status, {}, {}, operation, std::move(cause), needed);
  }
  /// Refuses a pointer that is null though it must not be.
  void require(const void* pointer, const char* name) const {
    if (pointer == nullptr)
      refuse(PDM_BAD_ARGUMENT, std::string(name) + " is NULL");
  }
  /// Refuses a buffer of the caller's that is too small.
  void room(const void* buffer, std::size_t count, std::size_t needed) const {
    if (count < needed)
      refuse(PDM_SHORT_BUFFER,
             "the buffer has room for " + std::to_string(count) + ", needed is " + std::to_string(needed),
             needed);
    if (needed > 0)
      require(buffer, "the buffer");
  }
  /// Hands out something of the same file.
  template <class Made, class Value>
  void give(Made** out, Value&& value) const {
    *out = static_cast<Made*>(handles::add(
        {std::make_shared<Thing<Made>>(Thing<Made>{std::forward<Value>(value)}), &Thing<Made>::kind, file}));
  }
  /// Copies to the caller.
  template <class From, class To>
  void fill(const From& from, To* buffer, std::size_t count) const {
    room(buffer, count, from.size());
    std::copy(from.begin(), from.end(), buffer);
  }

  const char* operation;
  std::uint64_t file = 0;

 private:
  std::shared_ptr<Thing<Handle>> m_thing;
};

/// One call on a handle: `work` is given what it stands for.
template <class Handle, class Work>
pdm_status on(Handle* handle, const char* operation, Work&& work) noexcept {
  return call(operation, [&] { work(Use<Handle>(handle, operation)); });
}
/// One call on a handle that makes something: `work` returns it.
/// \param out  becomes a handle of it, NULL when the call fails; may be null.
template <class Handle, class Made, class Work>
pdm_status create(Handle* handle, const char* operation, Made** out, Work&& work) noexcept {
  if (out != nullptr)
    *out = nullptr;
  return on(handle, operation, [&](const Use<Handle>& use) {
    auto made = work(use);
    if (out != nullptr)
      use.give(out, std::move(made));
  });
}
/// As create(); `out` must not be null.
template <class Handle, class Made, class Work>
pdm_status make(Handle* handle, const char* operation, Made** out, Work&& work) noexcept {
  return create(handle, operation, out, [&](const Use<Handle>& use) {
    use.require(out, "where the handle goes");
    return work(use);
  });
}

/// A struct of the caller's, of which only what its compiler knew is read or written.
template <class Handle, class Struct>
void give_struct(const Use<Handle>& use, Struct* out, Struct filled) {
  use.require(out, "the struct");
  if (out->size < sizeof out->size)
    use.refuse(PDM_BAD_ARGUMENT, "the struct's size is not set");
  filled.size = out->size;
  std::memcpy(static_cast<void*>(out), &filled, std::min(out->size, sizeof filled));
}

/// What the caller says of new numbers; `over` keeps a set alive.
template <class Handle>
pdm::FieldOptions options_of(const Use<Handle>& use, const pdm_field_options* given) {
  pdm::FieldOptions options;
  if (given == nullptr)
    return options;
  if (given->size < sizeof given->size)
    use.refuse(PDM_BAD_ARGUMENT, "the options' size is not set");
  pdm_field_options own{};
  std::memcpy(static_cast<void*>(&own), given, std::min(given->size, sizeof own));
  if (own.components < 0 || own.chunk_rows < 0 || own.deflate < 0 || own.deflate > 9)
    use.refuse(PDM_BAD_ARGUMENT, "an option is out of range");
  options.unit = own.unit == nullptr ? "" : own.unit;
  options.long_name = own.long_name == nullptr ? "" : own.long_name;
  if (own.over != nullptr)
    options.over = *Use<pdm_set>(own.over, use.operation);
  options.components = own.components;
  options.replace = own.replace != 0;
  options.deflate = own.deflate;
  options.chunk_rows = own.chunk_rows;
  return options;
}

/// The type that the caller names.
template <class Handle>
pdm::Type type_of(const Use<Handle>& use, int type) {
  if (type < PDM_INT32 || type > PDM_DOUBLE)
    use.refuse(PDM_BAD_ARGUMENT, "there is no type " + std::to_string(type));
  return static_cast<pdm::Type>(type);
}
static_assert(static_cast<int>(pdm::Type::int32) == PDM_INT32 &&
              static_cast<int>(pdm::Type::int64) == PDM_INT64 &&
              static_cast<int>(pdm::Type::float32) == PDM_FLOAT &&
              static_cast<int>(pdm::Type::float64) == PDM_DOUBLE);

/// Numbers of the caller's, of a type that the call says.
template <class Handle, class Value>
std::span<const Value> span_of(const Use<Handle>& use, const Value* values, std::size_t count) {
  if (count > 0)
    use.require(values, "the values");
  return {values, count};
}

/// Numbers of the caller's, of a type that the caller says.
template <class Handle>
pdm::Numbers numbers_of(const Use<Handle>& use, int type, const void* values, std::size_t count) {
  if (count > 0)
    use.require(values, "the values");
  return {values, count, type_of(use, type)};
}

/// An entry of a map by its name. Throws Fault when there is none.
template <class Handle, class Map>
auto entry(const Use<Handle>& use, const Map& map, const char* name) {
  use.require(name, "the name");
  if (!map.contains(name))
    try {
      map[name]; // says what there is
    } catch (const pdm::Error& error) {
      throw Fault(PDM_NOT_FOUND, error.file(), error.path(), error.operation().c_str(), error.cause());
    }
  return map[name];
}

/// Stores a field among others.
template <class Handle>
pdm::Field create_field(const Use<Handle>& use, const pdm::Fields& fields, const char* name, int type,
                        const void* values, std::size_t count, const pdm_field_options* options) {
  use.require(name, "the name");
  const pdm::FieldOptions own = options_of(use, options);
  return values == nullptr && count == 0 ? fields.create_empty(name, own)
                                         : fields.create(name, numbers_of(use, type, values, count), own);
}

} // namespace pdmc
