#pragma once

#include <UTI_BasicUtils/cow_String.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>

#include <vector>

/// One public call on the bulk store of a context: the operation, the open file, and what collections and
/// distributions have in common. Private to the module.
///
/// Both kinds are groups named by their minor number, from 1, under one group each. A group of the store is
/// made when the first object of it is linked; until then it stands for an empty one.
class ORXSimStoreCall {
 public:
  enum Kind : unsigned char { kCollections, kDistributions };

  /// Runs the work with a call.
  /// \return what it does, and an empty value when memory was lacking.
  template <class Work>
  static auto Run(const char* what, ORXSimContextID context, Kind kind, Work work) {
    return hdf_Try(std::invoke_result_t<Work, ORXSimStoreCall&>(), [&] {
      ORXSimStoreCall call(what, context, kind);
      return work(call);
    });
  }
  /// As Run, with the opened object of `id`.
  /// \return an empty value also when it is not there.
  template <class ID, class Work>
  static auto RunOn(const char* what, ID id, Kind kind, Work work) {
    using Result = std::invoke_result_t<Work, ORXSimStoreCall&, hid_t>;
    return Run(what, id.Context(), kind, [&](ORXSimStoreCall& call) {
      const hdf_GroupHandle object = call.Open(id.Minor());
      return object.IsOpen() ? work(call, object.Get()) : Result();
    });
  }

  ORXSimStoreCall(const char* what, ORXSimContextID context, Kind kind)
      : m_context(hdf_Contexts::Find(context)), m_operation(what, m_context.get()), m_kind(kind) {}

  hdf_Operation& Operation() { return m_operation; }
  const std::shared_ptr<hdf_Context>& Context() const { return m_context; }
  bool Writable() { return m_operation.Writable(); }
  /// True when the file itself has the whole content, so that others may look into it; else tells why not.
  bool ShowsItsFile();

  /// Opens the object; not open on failure.
  hdf_GroupHandle Open(int minor);
  /// Number of objects.
  int Count();
  /// The minors of all objects, ascending.
  std::vector<int> Minors();
  /// The first object of that name, -1 when there is none.
  int Find(const cow_String& name);
  /// A group without a name, to be filled and then linked.
  hdf_GroupHandle MakeObject();
  /// Gives an object the next free minor and ends the write.
  /// \return the minor, -1 on failure.
  int Link(const hdf_GroupHandle& object);

 private:
  hid_t Group(bool make);

  std::shared_ptr<hdf_Context> m_context;
  hdf_Operation m_operation;
  Kind m_kind;
  bool m_absent = false; // there is no group of that kind; else not having it open is a failure
};

/// A minor or drawer number as the name of a link.
struct ORXSimNumberName {
  explicit ORXSimNumberName(int number);
  char text[12];
};

// Pieces of the store's layout; each reports to the operation and answers false, -1 or nothing on failure.

/// The numbers that are names of links in a group, ascending.
std::vector<int> ORXSimNumbersIn(hdf_Operation& operation, hid_t group);
/// Number of links in a group.
int ORXSimLinksIn(hdf_Operation& operation, hid_t group);
/// The lowest free number from the number of links + first on.
int ORXSimFreeNumber(hdf_Operation& operation, hid_t group, int first);
/// Opens the dataset of that number in a group; null on failure.
/// \param mayBeUnwritten see hdf_DatasetRep.
std::shared_ptr<hdf_DatasetRep> ORXSimOpenNumbered(ORXSimStoreCall& call, hid_t group, int number,
                                                   bool mayBeUnwritten);
/// Writes a fixed-length UTF-8 attribute; at most 60,000 bytes.
bool ORXSimWriteText(hdf_Operation& operation, hid_t object, const char* name, const cow_String& text);
/// Reads a text attribute of fixed or variable length; "" when there is none.
cow_String ORXSimReadText(hdf_Operation& operation, hid_t object, const char* name);
/// Writes n integers, stored as 64 or 32 bits.
bool ORXSimWriteNumbers(hdf_Operation& operation, hid_t object, const char* name, hid_t stored,
                        const std::int64_t* values, int n);
/// Reads exactly n integers of any width.
bool ORXSimReadNumbers(hdf_Operation& operation, hid_t object, const char* name, std::int64_t* values, int n);
