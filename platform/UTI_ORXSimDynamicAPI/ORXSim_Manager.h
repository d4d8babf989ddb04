#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <UTI_ORXSimDynamicAPI/hdf_Objects.h>

/// Opens and closes simulation files.
class ORXSIM_API ORXSimManager {
 public:
  /// Makes a new simulation file. A closed HDF5 file or an empty file of that name is truncated; one that
  /// this or another process has open is left alone and the call fails, and so is everything that is not a
  /// regular file or no HDF5 file, so that a wrong name destroys nothing. The context holds a lock (flock)
  /// on its file as long as it is open: readers of the same file share it, a writer has it alone.
  /// \param createFlags 0: truncate a closed file; 1: fail when the file exists.
  /// \param version     layout version the caller was built for: 102.
  /// \param reserved    taken as it comes.
  /// \param contextOption durability of commit points: 0 none (scratch files), 1 the death of the process,
  ///                      2 the loss of power.
  /// \return the null context on failure, with the cause in LastError().
  static ORXSimContextID CreateContext(const cow_String& fileName, int createFlags, int version,
                                       bool reserved, int contextOption);
  /// Opens an existing simulation file. \param openFlags 0 read-write, 1 read-only; the rest as
  /// CreateContext.
  static ORXSimContextID OpenContext(const cow_String& fileName, int openFlags, int version, bool reserved,
                                     int contextOption);
  /// Commits what is pending and closes the file; every object of it becomes empty. The null context and
  /// one closed already are ignored. \return false when the last commit failed.
  static bool CloseContext(ORXSimContextID context);

  /// The last failure of the module: "FILE: OBJECT PATH: operation: cause" in one line, without the path
  /// where the whole file is meant; "" when none was.
  /// Valid until the next failing call.
  static const char* LastError();
};

/// One open context.
class ORXSIM_API ORXSimContextRef {
 public:
  explicit ORXSimContextRef(ORXSimContextID context) : m_context(context) {}
  hdf_File File() const;
  ORXSimContextID Context() const { return m_context; }
  /// True when the context is open for reading only.
  bool ReadOnly() const;
  /// Ends one write: outside an update scope this is a commit point. \return false when it failed.
  bool Commit() const;

 private:
  ORXSimContextID m_context;
};

/// Keeps HDF5 silent over the many calls of one piece of work instead of anew in each; the host's handler is
/// back afterwards. Not to be held while code of the host runs.
class ORXSIM_API ORXSimQuiet {
 public:
  ORXSimQuiet();
  ORXSimQuiet(const ORXSimQuiet&) = delete;
  ORXSimQuiet& operator=(const ORXSimQuiet&) = delete;
  ~ORXSimQuiet();
};

/// Joins the writes of its lifetime into one commit point. Scopes nest; the outermost decides.
///
///     ORXSimUpdate update(context);
///     ... many writes ...
///     update.Commit();
class ORXSIM_API ORXSimUpdate {
 public:
  explicit ORXSimUpdate(ORXSimContextID context);
  ORXSimUpdate(const ORXSimUpdate&) = delete;
  ORXSimUpdate& operator=(const ORXSimUpdate&) = delete;
  /// Leaves the scope; without a Commit() the writes wait for the next commit point of the context.
  ~ORXSimUpdate();
  /// Ends the scope; the outermost one makes the commit point. \return false when it failed.
  bool Commit();

 private:
  ORXSimContextID m_context;
  bool m_open;
};
