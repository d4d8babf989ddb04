#pragma once

#include <gbb/gbb_AutoArray.h>
#include <gbb/gbb_Path.h>
#include <kda/kda_Export.h>

class gbb_Handle;

/// How a resolution ended.
enum gbb_LinkStatus : int {
  gbb_kResolved = 0,   ///< an object was found
  gbb_kWrongClass = 2, ///< an object was found, but of another class
  gbb_kBroken = 3      ///< an empty holder or a missing object on the way
};

/// Is shown every object on the way; stops the walk there by answering false.
class gbb_TraverseVisitor {
 public:
  virtual bool Visit(const gbb_Handle& object) = 0;

 protected:
  ~gbb_TraverseVisitor() = default;
};

/// One walk from a root to an object.
///
/// A target text "where#path" names the simulation (`where`: an alias, empty for the simulation that the
/// walk starts in) and the way down from it by member names; an array takes an element's number as the
/// next component. A text without "#" is all path. Empty components and "." are dropped, ".." removes the
/// component before it. The first phase has one step, from the root to the simulation, the second one step
/// for each component of the path.
///
/// Threads: one at a time for each walk and the root that it goes through.
class PDM_CORE_API gbb_TraverseContext : public mem_AllocationOperatorsTiny {
 public:
  /// \param target  the target text.
  /// \param origin  where the walk starts.
  /// \param flags  those of the request.
  gbb_TraverseContext(const char* target, gbb_Path origin, unsigned flags,
                      gbb_TraverseVisitor* visitor = nullptr);
  ~gbb_TraverseContext();
  gbb_TraverseContext(const gbb_TraverseContext&) = delete;
  gbb_TraverseContext& operator=(const gbb_TraverseContext&) = delete;

  /// Number of steps of phase 0 or 1.
  int Count(int phase) const { return m_counts[phase]; }
  unsigned Flags() const { return m_flags; }
  int Phase() const { return m_phase; }
  int Step() const { return m_step; }
  gbb_TraverseVisitor* Visitor() const { return m_visitor; }
  gbb_Path Origin() const { return m_origin; }

  int Status() const { return m_status; }
  void SetStatus(gbb_LinkStatus status) { m_status = status; }

  /// Goes one step on: from the last step of a phase to the first of the next, and from the last step of
  /// all back to the start (phase 0, step -1).
  /// \return true when the walk goes on.
  bool Advance();
  /// The component of the current step: the simulation's alias in phase 0, a member's name or an element's
  /// number in phase 1; "" before the first step. Valid while the context lives.
  const char* Component() const;

 private:
  void Append(const char* from, const char* end);
  void Follow(const char* from, const char* end);

  int m_counts[2];
  unsigned m_flags;
  int m_phase = 0;
  int m_step = -1;
  gbb_TraverseVisitor* m_visitor;
  int m_status = gbb_kResolved;
  gbb_Path m_origin;
  // The simulation's alias and the components of the path, one behind the other, each with its NUL.
  gbb_AutoArray<char, gbb_TraverseContext> m_components;
};
