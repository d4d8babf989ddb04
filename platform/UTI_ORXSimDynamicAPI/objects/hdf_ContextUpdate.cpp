// The life of an open file: commit points, update scopes, going back, closing.

#include <UTI_ORXSimDynamicAPI/objects/hdf_Context.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_OpenFile.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

#include <utility>

namespace {
constexpr char kForked[] = "the context belongs to another process";
constexpr char kJournalStays[] = "the journal could not be brought into the file: it has to stay";
constexpr char kRolledBack[] =
    "the update was rolled back inside: nothing is written before its outermost scope has ended";

} // namespace

bool hdf_Context::RefuseWrite(hdf_Operation& operation) const {
  if (readOnly)
    return operation.Refuse("the file is open for reading only");
  if (Forked())
    return operation.Refuse(kForked);
  if (!barred)
    return operation.Refuse(kRolledBack);
  return operation.Refuse("barred since: " + barCause +
                          (durability == 0 || Info().poisoned ? "; close the file" : "; roll back or close"));
}

void hdf_Context::Bar(std::string_view cause, const char* during) noexcept {
  if (barred)
    return;
  barred = stopped = true;
  hdf_TryOr([&] { barCause.assign(during).append(cause); },
            [&] { barCause = "no memory"; }); // short enough to need none
}

// An exception may have come halfway through a flush, or before what failed has barred the context.
bool hdf_Context::CommitPoint(hdf_Operation& operation) {
  const auto bar = [&]() -> bool {
    Bar("out of memory", "commit: ");
    throw;
  };
  return hdf_TryOr([&] { return MakeCommitPoint(operation); }, bar);
}

bool hdf_Context::MakeCommitPoint(hdf_Operation& operation) {
  operation.NoteClosings();
  if (readOnly)
    return true;
  if (stopped || Forked())
    return stopped ? RefuseWrite(operation) : operation.Refuse(kForked);
  if ((durability == 0 && !isNew) || (takenBack && writes == committed))
    return true;
  const herr_t done = H5Jcommit_held(hold.get(), file);
  if (done >= 0) {
    if (isNew && *H5Jlast_error() != '\0') // a journal that was in the way
      operation.Refuse(H5Jlast_error());
    committed = writes;
    isNew = takenBack = false;
    if (done > 0) // what the commit did afterwards failed
      Bar(Info().obstacle, "");
    return true;
  }
  // In a scope the caller may try again; without one nobody can, and what answers false must not come later.
  const std::string cause = H5Jlast_error();
  if (!Info().may_commit)
    Bar(cause, "commit: ");
  else if (scopes == 0)
    Rollback(operation);
  return operation.Refuse(cause);
}

template <class Leave>
void hdf_Context::LeaveObjects(Leave leave) {
  for (auto* list : {&keepers, &lately})
    while (!list->empty())
      list->back()->DropKept();
  while (!awake.empty())
    awake.back()->Sleep();
  for (hdf_ObjectRep** first : {&datasets, &objects})
    while (*first != nullptr)
      leave(**first);
  collections = hdf_GroupHandle();
  distributions = hdf_GroupHandle();
}

bool hdf_Context::KeepWork(hdf_Operation& operation) {
  if (readOnly || Forked()) // a file of another process is none of our business
    return true;
  if (scopes > 0 && writes != scopeStart && Journalled())
    return operation.Refuse("closed within an update, which is rolled back");
  return IsOpen() ? CommitPoint(operation) : operation.Refuse(lost);
}

// HDF5 may fail to close a file and keep it: the store has nothing to do with it any more.
bool hdf_Context::CloseFile(bool keep) noexcept {
  return H5Jend(hold.get(), std::exchange(file, H5I_INVALID_HID), keep) >= 0;
}

// Closes whatever happens; only the report may find no memory.
bool hdf_Context::Close(hdf_Operation& operation) noexcept {
  const bool forked = Forked(), none = takenBack && writes == committed;
  const bool kept = none || hdf_Try(false, [&] { return KeepWork(operation); });
  LeaveObjects([](hdf_ObjectRep& object) { object.Close(); });
  const bool closed = CloseFile((kept && !none && !forked) || durability == 0);
  const bool finished = H5Jrelease(hold.release()) >= 0 || durability == 0 || forked;
  return hdf_Try(false, [&] {
    return (closed || operation.Check(-1)) && (finished || operation.Refuse(kJournalStays)) && kept;
  });
}

// A writer may be between two steps.
bool hdf_Context::MoveOn(hdf_Operation& operation) const {
  const auto moveOn = [&] {
    const hdf_Waiting waiting;
    return H5Jmove_on(hold.get()) >= 0;
  };
  return moveOn() || operation.Refuse(H5Jlast_error());
}

// Every object remembers where it was and opens again when it is used. Barred until all of it is done, so
// that an exception on the way leaves what can be tried again. HDF5 may fail to close the file; it is opened
// anew.
bool hdf_Context::Reopen(hdf_Operation& operation) {
  const hdf_Silence silence;
  Bar("out of memory");
  lost = "out of memory";
  LeaveObjects([](hdf_ObjectRep& object) { object.Leave(); });
  epoch = ++ORXSimManager::s_epochs;
  CloseFile(false);
  const bool good = (!live || MoveOn(operation)) && hdf_ReopenFile(operation, *this);
  const H5J_info_t info = Info();
  lost = good ? "" : hdf_Operation::LastCause();
  committed = scopeStart = writes;
  takenBack = isNew;
  barred = stopped = !good || !info.may_commit;
  barCause = good ? info.obstacle : lost;
  return good;
}

bool hdf_Context::Rollback(hdf_Operation& operation) {
  if (Forked())
    return operation.Refuse(kForked);
  if (writes == committed && !barred)
    return true;
  return Journalled() ? Reopen(operation)
                      : operation.Refuse("the context has no journal: there is nothing to roll back to");
}

bool hdf_Context::Refresh(hdf_Operation& operation) {
  if (!live)
    return operation.Refuse("the context is not open for live reading");
  return !Forked() ? Reopen(operation) : operation.Refuse(kForked);
}

ORXSimCommitInfo hdf_Context::LastCommit() const {
  const H5J_info_t info = Info();
  return {info.sequence, static_cast<std::int64_t>(info.image_bytes),
          static_cast<std::int64_t>(info.journal_bytes)};
}

void hdf_Context::BeginScope() {
  if (scopes++ == 0)
    scopeStart = writes;
}

void hdf_Context::EndScope() {
  if (--scopes == 0)
    stopped = barred;
}

void hdf_Context::AbandonScope() noexcept {
  const auto rollback = [&] {
    hdf_Operation operation("roll back an unfinished update", this);
    Rollback(operation);
  };
  if (scopes == 1 && writes != scopeStart && Journalled() && !Forked())
    hdf_TryOr(rollback, [&] { Bar("out of memory while rolling back"); });
  EndScope();
}

bool hdf_Context::RollbackScope(hdf_Operation& operation) {
  const bool good = Rollback(operation);
  EndScope();
  if (good && scopes > 0)
    stopped = true;
  return good;
}

bool hdf_Context::CommitScope(hdf_Operation& operation) {
  if (stopped)
    return RefuseWrite(operation);
  if (scopes == 1 && !CommitPoint(operation))
    return false;
  EndScope();
  return true;
}
