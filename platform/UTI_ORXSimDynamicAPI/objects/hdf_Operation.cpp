#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

#include <UTI_CoreUtils/mem_AtFork.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Context.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>
#include <system_error>

namespace {
// This thread's share in the lock.
struct Share {
  int holds = 0;       // pieces of work that want silence, or may want it
  bool silent = false; // has the lock, and the host's handler is kept here
  int forking = 0;     // handlers of fork() under way
};
[[gnu::tls_model("initial-exec")]] constinit thread_local Share t_share;

// Of the handler too: where HDF5 is thread-safe every thread has one of its own.
constinit std::mutex s_lock;
constinit H5E_auto2_t s_handler = nullptr;
constinit void* s_handlerData = nullptr;
#ifndef H5_NO_DEPRECATED_SYMBOLS
constinit H5E_auto1_t s_oldHandler = nullptr;
constinit unsigned s_isNew = 1;
#endif

// This thread's last failure.
struct Failure {
  std::string line;
  std::size_t causeAt = 0; // where the cause begins, behind the name of the file
};
constinit thread_local Failure* t_last = nullptr; // null: there was none
constinit thread_local bool t_noMemory = false;   // and this one is it
constinit thread_local std::uint64_t t_failures = 0;
constexpr char kNoMemory[] = "out of memory";

// Objects of the host may fail after this: then it is made once more and stays.
struct ThreadEnd {
  ~ThreadEnd() { delete std::exchange(t_last, nullptr); }
};

void setLast(std::string line, std::size_t causeAt) {
  ++t_failures;
  static thread_local ThreadEnd atThreadEnd;
  static_cast<void>(atThreadEnd);
  if (t_last == nullptr)
    t_last = new Failure;
  t_last->line = std::move(line);
  t_last->causeAt = causeAt;
  t_noMemory = false;
}

// No exception may pass through HDF5.
herr_t takeInnermost(unsigned, const H5E_error2_t* error, void* text) {
  hdf_TryOr([&] { *static_cast<std::string*>(text) = error->desc == nullptr ? "" : error->desc; }, [] {});
  return 1; // the first is the innermost
}

// After a failed read of damaged metadata HDF5 misses some memory of its own at the end of the process and
// complains on the terminal if an error handler is installed. This runs just before its own exit handler.
void keepExitSilent() {
  static const bool registered = std::atexit([] { H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr); }) == 0;
  static_cast<void>(registered);
}

std::string innermostMessage() {
  keepExitSilent();
  std::string text;
  H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, &takeInnermost, &text);
  H5Eclear2(H5E_DEFAULT);
  return text.empty() ? "HDF5 gives no cause" : text;
}

std::string nameOf(hid_t place) {
  return place < 0 ? "" : hdf_PathOf(place);
}

// A child made by fork() finds the lock free and HDF5 between two calls: no other thread is within them then.
// Where this thread has the lock itself the child has it, too.
void lockForFork() {
  if (!t_share.silent && t_share.forking++ == 0)
    s_lock.lock();
}
void unlockAfterFork() {
  if (!t_share.silent && --t_share.forking == 0)
    s_lock.unlock();
}
constinit mem_AtFork s_fork(&lockForFork, &unlockAfterFork, &unlockAfterFork);

void beSilent() {
  s_fork.Tell();
  s_lock.lock();
  t_share.silent = true;
#ifndef H5_NO_DEPRECATED_SYMBOLS
  H5Eauto_is_v2(H5E_DEFAULT, &s_isNew);
  if (s_isNew == 0) {
    H5Eget_auto1(&s_oldHandler, &s_handlerData);
    H5Eset_auto1(nullptr, nullptr);
    return;
  }
#endif
  H5Eget_auto2(H5E_DEFAULT, &s_handler, &s_handlerData);
  H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
}

void giveHandlerBack() {
#ifndef H5_NO_DEPRECATED_SYMBOLS
  if (s_isNew == 0) {
    H5Eset_auto1(s_oldHandler, s_handlerData);
    return;
  }
#endif
  H5Eset_auto2(H5E_DEFAULT, s_handler, s_handlerData);
}

void endSilence() {
  giveHandlerBack();
  t_share.silent = false;
  s_lock.unlock();
}
} // namespace

void hdf_TellForks() noexcept {
  s_fork.Tell();
  hdf_Context::Forks();
}

hdf_Silence::hdf_Silence() {
  Hold();
  if (!t_share.silent)
    beSilent();
}

void hdf_Silence::Hold() {
  ++t_share.holds;
}

void hdf_Silence::Release() {
  if (--t_share.holds == 0 && t_share.silent)
    endSilence();
}

hdf_Waiting::hdf_Waiting() : m_silent(t_share.silent) {
  if (m_silent)
    endSilence();
}

hdf_Waiting::~hdf_Waiting() {
  if (m_silent)
    beSilent();
}

hdf_Operation::hdf_Operation(const char* what, hdf_ObjectRep* object, const char* name)
    : m_what(what), m_object(object), m_context(object == nullptr ? nullptr : object->context.get()),
      m_missing("the object is empty"), m_name(name) {}

hdf_Operation::hdf_Operation(const char* what, hdf_Context* context, const char* name)
    : m_silence(std::in_place), m_what(what), m_context(context), m_name(name) {}

hdf_Operation::hdf_Operation(const char* what, const char* fileName)
    : m_silence(std::in_place), m_what(what), m_fileName(fileName) {}

hdf_Operation::~hdf_Operation() {
  if (m_writes && std::uncaught_exceptions() > m_exceptions)
    m_context->Bar("out of memory");
  NoteClosings();
}

void hdf_Operation::NoteClosings() {
  if (m_writes && m_failedClosings != hdf_FailedClosings)
    m_context->Bar("an object could not be closed");
}

bool hdf_Operation::Usable() {
  if (!Valid())
    return false;
  if (!m_silence.has_value())
    m_silence.emplace();
  return m_object == nullptr || m_object->Wake(*this);
}

bool hdf_Operation::Valid() {
  if (m_object != nullptr && m_object->failure != nullptr) {
    setLast(*m_object->failure, 0);
    m_failed = m_object->unreadable;
    return false;
  }
  if (m_context != nullptr && m_context->IsOpen())
    return true;
  m_failed = true;
  if (m_context == nullptr)
    return Refuse(m_missing);
  return Refuse(m_context->lost.empty() ? "the file was closed"
                                        : "the file could not be opened again: " + m_context->lost);
}

bool hdf_Operation::Writable() {
  if (!Usable() || !m_context->MayWrite(*this))
    return false;
  m_exceptions = std::uncaught_exceptions();
  m_failedClosings = hdf_FailedClosings;
  return m_writes = true;
}

void hdf_Operation::NoteWrite() {
  ++m_context->writes;
}

bool hdf_Operation::Fail() {
  m_failed = true;
  Refuse(innermostMessage());
  if (m_writes)
    m_context->Bar(LastCause());
  return false;
}

bool hdf_Operation::RefuseErrno(int error) {
  return Refuse(std::generic_category().message(error));
}

bool hdf_Operation::Refuse(const std::string& cause) {
  const hdf_Silence silence; // the path is asked of HDF5
  const char* const file = m_context != nullptr    ? m_context->fileName.c_str()
                           : m_fileName != nullptr ? m_fileName
                                                   : "no file";
  const std::string path = Path();
  std::string line = std::string(file) + ": " + path + (path.empty() ? "" : ": ") + m_what + ": " + cause;
  for (char& c : line)
    if (static_cast<unsigned char>(c) < ' ')
      c = ' ';
  setLast(std::move(line), std::strlen(file) + 2);
  return false;
}

void hdf_Operation::At(hid_t place, const char* name) {
  m_place = place;
  m_name = name;
}

std::string hdf_Operation::Path() const {
  const bool open = m_context != nullptr && m_context->IsOpen();
  std::string path = !open                 ? ""
                     : m_place >= 0        ? nameOf(m_place)
                     : m_object != nullptr ? m_object->Place()
                                           : "";
  if (m_name == nullptr)
    return path;
  if (!path.empty() && path.back() != '/')
    path += '/';
  return path + m_name;
}

const char* hdf_Operation::Last() {
  return t_noMemory ? kNoMemory : t_last == nullptr ? "" : t_last->line.c_str();
}

std::string hdf_Operation::LastCause() {
  if (t_noMemory || t_last == nullptr)
    return Last();
  return t_last->line.substr(std::min(t_last->causeAt, t_last->line.size()));
}

void hdf_Operation::OutOfMemory() noexcept {
  ++t_failures;
  t_noMemory = true;
}

std::uint64_t hdf_Operation::Failures() {
  return t_failures;
}
