// The life of an open file: commit points, update scopes, going back, closing.

#include <UTI_ORXSimDynamicAPI/hdf_Context.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <UTI_ORXSimDynamicAPI/hdf_FileId.h>
#include <UTI_ORXSimDynamicAPI/hdf_ObjectRep.h>
#include <UTI_ORXSimDynamicAPI/hdf_OpenFile.h>
#include <UTI_ORXSimDynamicAPI/hdf_Operation.h>

#include <new>
#include <pthread.h>

namespace {
constinit unsigned s_forks = 0;

constexpr char kForked[] = "the context belongs to another process";
constexpr char kRolledBack[] =
    "the update was rolled back inside: nothing is written before its outermost scope has ended";

// The file is closed with everything that is open in it, also where an exhausted memory has left a reference.
herr_t closeFile(hid_t file) {
  while (H5Iget_ref(file) > 1)
    H5Idec_ref(file);
  return H5Fclose(file);
}
} // namespace

// Counted, since asking the system at every write would cost more than all other checks together.
unsigned hdf_Context::Forks() {
  static const bool s_counts = ::pthread_atfork(nullptr, nullptr, [] { ++s_forks; }) == 0;
  static_cast<void>(s_counts);
  return s_forks;
}

bool hdf_Context::RefuseWrite(hdf_Operation& operation) const {
  if (readOnly)
    return operation.Refuse("the file is open for reading only");
  if (forks != Forks())
    return operation.Refuse(kForked);
  if (!barred)
    return operation.Refuse(kRolledBack);
  return operation.Refuse("barred since: " + barCause +
                          (durability == 0 ? "; close the file" : "; roll back or close"));
}

void hdf_Context::Bar(const std::string& cause) noexcept {
  if (barred)
    return;
  barred = stopped = true;
  try {
    barCause = cause;
  } catch (const std::bad_alloc&) {
    barCause = "no memory"; // short enough to need none
  }
}

bool hdf_Context::CommitPoint(hdf_Operation& operation) {
  if (readOnly)
    return true;
  if (stopped || store->Forked())
    return stopped ? RefuseWrite(operation) : operation.Refuse(kForked);
  if (durability == 0 && !store->IsNew())
    return true;
  if (!store->FileIdKnown())
    store->SetFileId(hdf_ReadFileId(file));
  if (!operation.Check(H5Fflush(file, H5F_SCOPE_LOCAL))) {
    Bar("commit: " + hdf_Operation::LastCause());
    return false;
  }
  std::string cause;
  if (store->Commit(cause)) {
    committed = writes;
    return true;
  }
  // In a scope the caller may try again; without one nobody can, and what answers false must not come later.
  if (!store->MayRetry())
    Bar("commit: " + cause);
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

bool hdf_Context::Close(hdf_Operation& operation) {
  const bool forked = store->Forked(); // then the file is none of our business
  const bool abandoned = scopes > 0 && writes != scopeStart && Journalled() && !forked;
  const bool kept = forked || readOnly ||
                    (abandoned  ? operation.Refuse("closed within an update, which is rolled back")
                     : IsOpen() ? CommitPoint(operation)
                                : operation.Refuse(lost));
  LeaveObjects([](hdf_ObjectRep& object) { object.Close(); });
  store->BeginClosing((kept && !forked) || durability == 0);
  const bool closed = !IsOpen() || operation.Check(closeFile(file));
  file = H5I_INVALID_HID;
  const bool finished = store->Finish() || durability == 0 || forked ||
                        operation.Refuse("the journal could not be brought into the file: it has to stay");
  store.reset();
  return kept && closed && finished;
}

// Every object remembers where it was and opens again when it is used.
bool hdf_Context::Reopen(hdf_Operation& operation) {
  const hdf_Silence silence;
  LeaveObjects([](hdf_ObjectRep& object) { object.Leave(); });
  epoch = ++ORXSimManager::s_epochs;
  store->BeginClosing(false);
  bool good = !IsOpen() || operation.Check(closeFile(file));
  file = H5I_INVALID_HID;
  std::string cause;
  if (good && live && !store->TakeSnapshot(cause))
    good = operation.Refuse(cause);
  good = good && hdf_ReopenFile(operation, *this);
  lost = good ? "" : hdf_Operation::LastCause();
  committed = scopeStart = writes;
  barred = stopped = !good;
  barCause = lost;
  return good;
}

bool hdf_Context::Rollback(hdf_Operation& operation) {
  if (forks != Forks())
    return operation.Refuse(kForked);
  if (writes == committed && !barred)
    return true;
  return Journalled() ? Reopen(operation)
                      : operation.Refuse("the context has no journal: there is nothing to roll back to");
}

bool hdf_Context::Refresh(hdf_Operation& operation) {
  if (!live)
    return operation.Refuse("the context is not open for live reading");
  return forks == Forks() ? Reopen(operation) : operation.Refuse(kForked);
}

ORXSimCommitInfo hdf_Context::LastCommit() const {
  if (store == nullptr)
    return {};
  return {store->Sequence(), static_cast<std::int64_t>(store->CommittedEnd()),
          static_cast<std::int64_t>(store->JournalBytes())};
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
  if (scopes == 1 && writes != scopeStart && Journalled() && forks == Forks()) {
    try {
      hdf_Operation operation("roll back an unfinished update", this);
      Rollback(operation);
    } catch (const std::bad_alloc&) {
      Bar("out of memory while rolling back");
    }
  }
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
