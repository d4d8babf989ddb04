#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Context.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <system_error>

namespace {
constinit int s_holds = 0;       // pieces of work that want silence, or may want it
constinit bool s_silent = false; // the host's handler is kept here
constinit H5E_auto2_t s_handler = nullptr;
constinit void* s_handlerData = nullptr;
#ifndef H5_NO_DEPRECATED_SYMBOLS
constinit H5E_auto1_t s_oldHandler = nullptr;
constinit unsigned s_isNew = 1;
#endif

constinit std::size_t s_causeAt = 0; // where the cause begins, behind the name of the file

// Lives for ever: objects of the host may fail after our own statics would be gone.
std::string& lastError() {
  static std::string& text = *new std::string;
  return text;
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

void setLast(std::string line) {
  for (char& c : line)
    if (static_cast<unsigned char>(c) < ' ')
      c = ' ';
  lastError() = std::move(line);
}

void takeHandler() {
  s_silent = true;
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
  s_silent = false;
#ifndef H5_NO_DEPRECATED_SYMBOLS
  if (s_isNew == 0) {
    H5Eset_auto1(s_oldHandler, s_handlerData);
    return;
  }
#endif
  H5Eset_auto2(H5E_DEFAULT, s_handler, s_handlerData);
}
} // namespace

hdf_Silence::hdf_Silence() {
  Hold();
  if (!s_silent)
    takeHandler();
}

void hdf_Silence::Hold() {
  ++s_holds;
}

void hdf_Silence::Release() {
  if (--s_holds == 0 && s_silent)
    giveHandlerBack();
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
    lastError() = *m_object->failure;
    s_causeAt = 0;
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
  s_causeAt = std::strlen(file) + 2;
  setLast(std::string(file) + ": " + path + (path.empty() ? "" : ": ") + m_what + ": " + cause);
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

const std::string& hdf_Operation::Last() {
  return lastError();
}

std::string hdf_Operation::LastCause() {
  return lastError().substr(std::min(s_causeAt, lastError().size()));
}

void hdf_Operation::OutOfMemory() noexcept {
  lastError() = "out of memory"; // short enough to need none
  s_causeAt = 0;
}
