#pragma once

#include <gbb/gbb_AutoArray.h>
#include <gbb/gbb_Path.h>
#include <gbb/gbb_String.h>
#include <kda/kda_Export.h>
#include <kda/kda_MapString.h>
#include <msf/msfD_Sim.h>

/// The way into simulation files: creates, opens and closes them, and keeps the Sims that are open.
///
/// It is the root of every Sim it holds: a Sim's path is this root and the Sim's position, which is dense
/// from 0 in the order of opening. Files are told apart by their names, byte for byte. The Sims die with
/// the root, which must not move while they live.
///
/// Threads: Sims of different roots may be used in different threads at the same time. A root, its opening
/// and closing, its Sims and the links between them belong to one thread at a time.
class PDM_CORE_API msfD_Root : public gbb_RootImpl {
 public:
  /// \param trace  0, or prints each operation, here and in every object of its Sims.
  explicit msfD_Root(int trace);
  ~msfD_Root() override;
  msfD_Root(const msfD_Root&) = delete;
  msfD_Root& operator=(const msfD_Root&) = delete;

  /// Number of open Sims.
  int count() const;
  /// The Sim at position i, 0 <= i < count().
  msfD_Sim get(int i) const;
  /// The Sim that was given this alias, empty when there is none.
  msfD_Sim getByAlias(gbb_String alias) const;

  /// Makes a new simulation file; it appears under its name once it holds the whole Sim. A file name that is
  /// open here, or an alias that is taken, prints a line and gives an empty Sim. When the file cannot be
  /// made, the Sim is there but can hold nothing; a line and ORXSimManager::LastError() say why.
  ///
  /// \param alias  a name for links and getByAlias(); may be empty.
  ///
  /// \param contextOption  durability of commit points, as ORXSimManager::CreateContext; -1 is 1.
  msfD_Sim createSim(gbb_String fileName, gbb_String alias, int contextOption);
  /// The same in a context that the caller made by ORXSimManager::CreateContext, which belongs to the Sim
  /// from then on and is closed when there is none. Within an update scope of the caller nothing is
  /// committed: so the file appears under its name with everything that the scope writes.
  msfD_Sim createSimIn(ORXSimContextID context, gbb_String fileName, gbb_String alias);
  /// Opens an existing simulation file for reading and writing. One that cannot be opened gives an empty
  /// Sim, with the cause in ORXSimManager::LastError(); the rest as createSim.
  msfD_Sim openSim(gbb_String fileName, gbb_String alias, int contextOption);
  /// As openSim, for reading only.
  ///
  /// \param contextOption  also 3: live reading while another program writes; the Sim is as at that program's
  ///                       last commit point when it was opened or refreshed.
  msfD_Sim openSimReadOnly(gbb_String fileName, gbb_String alias, int contextOption);
  /// The same in a context that the caller opened by ORXSimManager::OpenContext, such as one of unknown
  /// origin. It belongs to the Sim from then on and is closed when there is none.
  msfD_Sim openSimIn(ORXSimContextID context, gbb_String fileName, gbb_String alias);
  /// Moves a Sim that was opened for live reading on to the newest commit point. Handles stay valid and are
  /// as the file says from then on; references that getters gave are not.
  /// \return false, with the cause in ORXSimManager::LastError(), when that failed or the Sim is no live one.
  bool refreshSim(msfD_Sim sim);
  /// Closes a Sim and its file; later Sims move down by one position. One without a position is ignored.
  void closeSim(msfD_Sim sim);

  /// Walks to an object of one of the Sims.
  gbb_Handle Traverse(gbb_TraverseContext& context) override;

 private:
  bool MayOpen(const char* operation, const gbb_String& fileName, const gbb_String& alias) const;
  msfD_Sim OpenSim(const char* operation, const gbb_String& fileName, const gbb_String& alias, int openFlags,
                   int contextOption);
  msfD_Sim TakeSim(ORXSimContextID context, const gbb_String& fileName, const gbb_String& alias);
  msfD_Sim MakeSim(ORXSimContextID context, const gbb_String& fileName, const gbb_String& alias);
  static bool BindNew(const msfD_SimHolder& sim, ORXSimContextID context);
  msfD_Sim File(msfD_SimHolder sim, const gbb_String& fileName, const gbb_String& alias);
  static void Forget(kda_MapString<msfD_Sim>& table, const msfD_Sim& sim);

  int m_trace;
  kda_MapString<msfD_Sim> m_byAlias; // Sims with a non-empty alias
  kda_MapString<msfD_Sim> m_byFile;  // all Sims, by the file name that the caller gave
  gbb_AutoArray<msfD_SimHolder, msfD_Root> m_sims;
};
