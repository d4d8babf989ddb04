#pragma once

#include <UTI_ORXSimDynamicAPI/hdf_Objects.h>

#include <hdf5.h>

#include <cstdint>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

class hdf_ObjectRep;
struct hdf_Context;

/// For the module's initialiser: the system learns what is to be done at a fork().
void hdf_TellForks() noexcept;

/// The module's lock, and HDF5 kept from printing while it lives. One thread at a time is in HDF5 and at what
/// belongs to the whole process, so that it does not matter whether HDF5 is thread-safe: no call of HDF5's,
/// none of the library beside it that leads there, and no use of hdf_Shared without one. The host's handler
/// is put back exactly. Nests. The lock, taking the handler and giving it back cost two locked instructions
/// and four calls of HDF5, so a longer piece of work can hold a silence over its many operations: between
/// Hold and Release one that was taken is not given back.
class hdf_Silence {
 public:
  hdf_Silence();
  hdf_Silence(const hdf_Silence&) = delete;
  hdf_Silence& operator=(const hdf_Silence&) = delete;
  ~hdf_Silence() { Release(); }

  /// Takes nothing yet: that is for the first hdf_Silence, if there is one.
  static void Hold();
  static void Release();
};

/// Lets other threads in while it lives, for waiting. HDF5 is not called meanwhile; does nothing where no
/// silence was taken.
class hdf_Waiting {
 public:
  hdf_Waiting();
  hdf_Waiting(const hdf_Waiting&) = delete;
  hdf_Waiting& operator=(const hdf_Waiting&) = delete;
  ~hdf_Waiting();

 private:
  const bool m_silent;
};

/// One public call: holds a silence from the first check on, and turns what fails into this thread's last
/// error, "FILE: OBJECT PATH: operation: cause". Nothing is composed before something fails. Private to the
/// module.
class hdf_Operation {
 public:
  /// \param what the operation in words.
  /// \param name the link or attribute it is about, or null.
  hdf_Operation(const char* what, hdf_ObjectRep* object, const char* name = nullptr);
  /// HDF5 may be called at once.
  hdf_Operation(const char* what, hdf_Context* context, const char* name = nullptr);
  /// For calls before there is a context; HDF5 may be called at once.
  hdf_Operation(const char* what, const char* fileName);
  hdf_Operation(const hdf_Operation&) = delete;
  hdf_Operation& operator=(const hdf_Operation&) = delete;
  /// An exception on its way through a writing operation has stopped it halfway: the context is barred.
  ~hdf_Operation();

  /// Bars the context when something that this operation wrote could not be closed.
  void NoteClosings();

  /// False, with the cause reported, when the object is empty, failed to open, or its file was closed.
  /// HDF5 must not be called yet: this costs next to nothing.
  bool Valid();
  /// As Valid(), the object has an identifier, and HDF5 may be called from now on.
  bool Usable();
  /// As Usable(), and the file may be written to. From now on a failed Check() bars the context.
  bool Writable();
  /// False when an HDF5 call gave a negative result; its innermost message becomes the cause.
  bool Check(std::int64_t result) {
    if (m_writes)
      NoteWrite();
    return result >= 0 || Fail();
  }
  /// True when nobody could look: HDF5 failed, or the file is not open.
  bool Failed() const { return m_failed; }
  /// Reports a cause of our own.
  /// \return false.
  bool Refuse(const std::string& cause);
  /// Reports what errno means.
  /// \return false.
  bool RefuseErrno(int error);
  /// Moves the message to another object or name, for calls of several steps.
  void At(hid_t place, const char* name = nullptr);

  /// The last failure of the module in this thread, "" when none was. Valid until the next one.
  static const char* Last();
  /// The same without the file.
  static std::string LastCause();
  /// How many failures there were in this thread.
  static std::uint64_t Failures();
  /// Makes an exhausted memory the last failure. Needs none.
  static void OutOfMemory() noexcept;

 private:
  std::string Path() const;
  void NoteWrite();
  bool Fail();

  std::optional<hdf_Silence> m_silence;
  const char* m_what;
  hdf_ObjectRep* m_object = nullptr;
  hdf_Context* m_context = nullptr;
  const char* m_fileName = nullptr;
  const char* m_missing = "the context is not open"; // the cause when there is no m_context
  const char* m_name = nullptr;
  hid_t m_place = H5I_INVALID_HID;
  bool m_writes = false;
  bool m_failed = false;
  int m_exceptions = 0;          // on their way when the writing began
  unsigned m_failedClosings = 0; // until then
};

/// Runs work that may lack memory, and `otherwise` when it does. Nothing else in the module catches that.
template <class Work, class Otherwise>
std::invoke_result_t<Work> hdf_TryOr(Work work, Otherwise otherwise) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return otherwise();
  }
}

/// Runs work that may lack memory, which then is the last failure of the module.
/// \return `failed` then.
template <class Result, class Work>
Result hdf_Try(Result failed, Work work) {
  return hdf_TryOr(std::move(work), [&] {
    hdf_Operation::OutOfMemory();
    return std::move(failed);
  });
}

/// One public call as an hdf_Operation on `place`, which the work is given.
/// \return what the work does, and an empty value when memory was lacking.
template <class Place, class Work>
auto hdf_Call(const char* what, Place* place, const char* name, Work work) {
  using Result = std::invoke_result_t<Work, hdf_Operation&>;
  return hdf_Try(Result(), [&] {
    hdf_Operation operation(what, place, name);
    return work(operation);
  });
}
template <class Place, class Work>
auto hdf_Call(const char* what, Place* place, Work work) {
  return hdf_Call(what, place, nullptr, std::move(work));
}

/// One public call that looks for something; the work answers whether it is there.
template <class Work>
ORXSimFound hdf_Look(const char* what, hdf_ObjectRep* object, const char* name, Work work) {
  return hdf_Try(ORXSimFound::kUnreadable, [&] {
    hdf_Operation operation(what, object, name);
    return work(operation)      ? ORXSimFound::kFound
           : operation.Failed() ? ORXSimFound::kUnreadable
                                : ORXSimFound::kMissing;
  });
}
