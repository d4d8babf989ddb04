#pragma once

#include <UTI_ORXSimDynamicAPI/hdf_Objects.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Context.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

#include <list>
#include <memory>
#include <string>

/// HDF5's type of a number in memory. REQUIRES an open file.
hid_t hdf_NativeType(hdf_Datatype type);

/// What the copies of one hdf_ value share. Private to the module.
///
/// Open: id >= 0, linked into one list of the context. Asleep, or closed by the context: id < 0; as long as
/// the context is open, Wake() opens it again where it was. Failed: no context, failure set.
class hdf_ObjectRep {
 public:
  /// A failed object that remembers the last error.
  /// \param unread nobody could look for it.
  explicit hdf_ObjectRep(bool unread)
      : failure(std::make_unique<std::string>(hdf_Operation::Last())), unreadable(unread) {}
  /// Takes over an open identifier.
  hdf_ObjectRep(std::shared_ptr<hdf_Context> owner, hid_t opened, hdf_ObjectRep*& first);
  /// One that takes its identifier when it is first used.
  explicit hdf_ObjectRep(std::shared_ptr<hdf_Context> owner) : context(std::move(owner)) {}
  hdf_ObjectRep(const hdf_ObjectRep&) = delete;
  hdf_ObjectRep& operator=(const hdf_ObjectRep&) = delete;
  virtual ~hdf_ObjectRep() { Close(); }

  /// Gives the identifier back.
  void Close();
  /// Notes where the object is and gives the identifier back, so that Wake() finds it again.
  virtual void Leave() { Close(); }
  /// Sees to it that an object of an open file has its identifier.
  /// \return false, with the cause reported, when it is not there any more or HDF5 fails.
  bool Wake(hdf_Operation& operation) { return id >= 0 ? Used() : OpenAgain(operation); }
  /// The path of the object, also while it has no identifier.
  virtual std::string Place() const;

  /// The public value of this object.
  template <class Value>
  static Value Make(std::shared_ptr<hdf_ObjectRep> rep) {
    Value value;
    value.m_rep = std::move(rep);
    return value;
  }
  /// The public value that stands for the last error, which the operation has reported.
  template <class Value>
  static Value Failed(const hdf_Operation& operation) {
    return Make<Value>(std::make_shared<hdf_ObjectRep>(operation.Failed()));
  }
  template <class Value>
  static bool IsOpen(const Value& value) {
    return value.m_rep != nullptr && value.m_rep->context != nullptr && value.m_rep->context->IsOpen();
  }

  const std::shared_ptr<hdf_Context> context;
  hid_t id = H5I_INVALID_HID;
  const std::unique_ptr<const std::string> failure;
  const bool unreadable = false; // failed, and nobody could look

 protected:
  void TakeOver(hid_t opened, hdf_ObjectRep*& first);
  /// A use of an object that has its identifier.
  /// \return true.
  virtual bool Used() { return true; }
  virtual bool OpenAgain(hdf_Operation&) { return false; }

 private:
  hdf_ObjectRep* m_next = nullptr;
  hdf_ObjectRep** m_link = nullptr; // what points to this object; null when closed

  friend class hdf_DatasetRep;
};

/// Closes an object that did not come to be of use, also when an exception stops it.
struct hdf_CloseUnless {
  explicit hdf_CloseUnless(hdf_ObjectRep& opened) : object(opened) {}
  hdf_CloseUnless(const hdf_CloseUnless&) = delete;
  hdf_CloseUnless& operator=(const hdf_CloseUnless&) = delete;
  ~hdf_CloseUnless() {
    if (!good)
      object.Close();
  }
  hdf_ObjectRep& object;
  mutable bool good = false;
};

/// Makes the object of an identifier, which is given back when there is no memory for it.
template <class Rep, class Owner, class... Rest>
std::shared_ptr<Rep> hdf_MakeRep(const Owner& owner, hid_t opened, Rest... rest) {
  const auto giveBack = [&]() -> std::shared_ptr<Rep> {
    if (H5Iis_valid(opened) > 0)
      H5Idec_ref(opened);
    throw;
  };
  return hdf_TryOr([&] { return std::make_shared<Rep>(owner, rest..., opened); }, giveBack);
}

/// The open file itself; takes an identifier when it is first used.
class hdf_FileRep : public hdf_ObjectRep {
 public:
  explicit hdf_FileRep(std::shared_ptr<hdf_Context> owner) : hdf_ObjectRep(std::move(owner)) {}
  std::string Place() const override { return "/"; }

 protected:
  bool OpenAgain(hdf_Operation& operation) override;
};

/// Deflate makes nothing smaller by more than this; a claim beyond it is damage.
inline constexpr std::uint64_t kHdfLargestExpansion = 1032;

/// The type of a stored number, as far as it matters here.
struct hdf_StoredType {
  H5T_class_t family = H5T_NO_CLASS;
  std::size_t size = 0;
  bool isSigned = false;

  /// Of one of our own types.
  static hdf_StoredType Of(hdf_Datatype type);
  /// Of an open HDF5 type. A number that is not stored as computers hold it, whole bytes of integer or IEEE
  /// number, is of no class: HDF5 must not be asked to convert it.
  static hdf_StoredType Of(hid_t type);
  friend bool operator==(const hdf_StoredType&, const hdf_StoredType&) = default;

  /// How to move numbers between memory of `type` and this type.
  struct Road {
    hid_t memory; // memory type, negative when the move is refused
    bool checked; // integers may not fit: use the exact transfer
  };
  Road Read(hdf_Datatype type) const;
  Road Write(hdf_Datatype type) const;
};

/// An open dataset.
class hdf_DatasetRep : public hdf_ObjectRep {
 public:
  hdf_DatasetRep(std::shared_ptr<hdf_Context> owner, hid_t opened)
      : hdf_ObjectRep(owner, opened, owner->datasets) {}

  /// Makes a member dataset; one of that name is replaced, in every open value too.
  /// \param content the first `held` elements, or null.
  /// \return null on failure.
  static std::shared_ptr<hdf_DatasetRep> Create(hdf_Operation& operation, const hdf_ObjectRep& group,
                                                const char* name, hdf_Datatype type,
                                                const hdf_Dataspace& shape, const void* content = nullptr,
                                                std::uint64_t held = 0);
  bool WriteFirst(hdf_Operation& operation, hdf_Datatype source, const void* data, std::uint64_t count);
  bool ReadFirst(hdf_Operation& operation, hdf_Datatype target, void* data, std::uint64_t count) const;
  /// Puts a larger copy in this dataset's place.
  bool Extend(hdf_Operation& operation, std::uint64_t count);
  /// Reads type and shape and refuses what the file cannot hold, or keeps elsewhere.
  /// \param mayBeUnwritten lets chunks be absent; the caller has another check on the size.
  bool Inspect(hdf_Operation& operation, bool mayBeUnwritten = false);
  /// Where the dataset lies in the file.
  haddr_t Address();
  /// Every open dataset at `address` becomes `successor`.
  static void Replace(hdf_Context& context, haddr_t address, const hdf_DatasetRep& successor);
  void Leave() override;
  std::string Place() const override { return id >= 0 ? hdf_ObjectRep::Place() : m_path; }

  std::string name; // below the group that keeps it
  hdf_StoredType type;
  hdf_Dataspace space;
  bool fresh = false;     // made here and not written yet
  bool unwritten = false; // chunked, and stores less than its shape says

 protected:
  bool OpenAgain(hdf_Operation& operation) override;

 private:
  haddr_t m_address = HADDR_UNDEF;
  std::string m_path; // once left
};

/// An open group, with the dataset that it keeps open.
///
/// A group with a parent can sleep: the context keeps the identifiers of those used lately, and the others
/// open theirs again by name when they need it. Groups never move.
class hdf_GroupRep : public hdf_ObjectRep {
 public:
  /// The root group, which never sleeps.
  hdf_GroupRep(std::shared_ptr<hdf_Context> owner, hid_t opened)
      : hdf_ObjectRep(owner, opened, owner->objects) {}
  hdf_GroupRep(std::shared_ptr<hdf_ObjectRep> parent, const char* name, hid_t opened);
  ~hdf_GroupRep() override;

  std::string Place() const override;
  /// Gives the identifier of an awake group back.
  void Sleep();

  /// The kept dataset if it has that name, else null.
  std::shared_ptr<hdf_DatasetRep> Kept(const char* name);
  /// Keeps this dataset in place of the one before; the least used of the context may go.
  void Keep(const char* name, std::shared_ptr<hdf_DatasetRep> dataset);
  void DropKept();

 protected:
  bool Used() override;
  bool OpenAgain(hdf_Operation& operation) override;

 private:
  using InList = std::list<hdf_GroupRep*>::iterator;

  void NoteAwake();
  std::list<hdf_GroupRep*>& Keepers() { return m_again ? context->keepers : context->lately; }

  const std::shared_ptr<hdf_ObjectRep> m_parent; // null: never sleeps
  const std::string m_name;                      // below the parent
  InList m_awake;                                // valid while the group has a parent and an identifier
  std::shared_ptr<hdf_DatasetRep> m_kept;        // null: not among the keepers
  InList m_place;                                // among the keepers
  bool m_again = false;                          // came back to the dataset
};

/// An open attribute.
class hdf_AttributeRep : public hdf_ObjectRep {
 public:
  hdf_AttributeRep(std::shared_ptr<hdf_Context> owner, hid_t opened)
      : hdf_ObjectRep(owner, opened, owner->objects) {}

  /// Reads type and shape.
  bool Inspect(hdf_Operation& operation);
  void Leave() override;
  std::string Place() const override { return id >= 0 ? hdf_ObjectRep::Place() : m_path; }

  hdf_StoredType type;
  hdf_Dataspace space;

 protected:
  bool OpenAgain(hdf_Operation& operation) override;

 private:
  std::string m_path, m_name; // of the object that has it, and its own; once left
};

/// Where a dataset's data lies in the file in one piece; HADDR_UNDEF when it does not, or nothing is stored.
haddr_t hdf_DataOffset(hid_t dataset);
/// The shape of an open HDF5 dataspace: a scalar is one element; empty for ranks that we do not handle.
hdf_Dataspace hdf_ShapeOf(hid_t space);
/// The path of an open object, "" when it has none.
std::string hdf_PathOf(hid_t object);
/// Refuses what is no name of one link: null, "", "." and anything with '/'.
bool hdf_CheckLinkName(hdf_Operation& operation, const char* name);
/// Looks a name up.
/// \param address where the object lies; HADDR_UNDEF when there is no link of that name or it is not a hard
///     link.
/// \return false when HDF5 failed.
bool hdf_FindHardLink(hdf_Operation& operation, hid_t group, const char* name, haddr_t& address);
/// As hdf_FindHardLink, and there must be one.
bool hdf_RequireHardLink(hdf_Operation& operation, hid_t group, const char* name);
/// Opens what a hard link leads to.
/// \return a negative identifier after a failure.
hid_t hdf_OpenGroup(hdf_Operation& operation, hid_t group, const char* name);
hid_t hdf_OpenDataset(hdf_Operation& operation, hid_t group, const char* name);
