#include "py_Class.h"

#include <atomic>

// Which schema classes are known: the library's, and those of hosts' modules.

/// Classes as they were made known, the newest first.
struct py_KnownClass {
  py_Class known;
  const py_KnownClass* before;
};

namespace {

constinit std::atomic<const py_KnownClass*> s_known = nullptr;

void add(py_Class known) {
  s_known.store(new py_KnownClass{std::move(known), s_known.load()}); // for ever: others may be reading
}

template <class Fits>
const py_Class* find(Fits&& fits) {
  for (const py_KnownClass* at = s_known.load(); at != nullptr; at = at->before)
    if (fits(at->known))
      return &at->known;
  return nullptr;
}

std::string name_of(gbb_Class of) {
  const gbb_ClassID id = of.ClassID();
  return {id.text, std::find(id.text, id.text + gbb_ClassID::kSize, '\0')};
}

constexpr py_ClassApi kApi{&add, &py_ObjectOf};

} // namespace

const py_KnownClass* py_KnownClasses() noexcept {
  return s_known.load();
}

void py_Session::learn() {
  const pdm::detail::Lines unheard;
  m_known = s_known.load();
  if (m_sim.is_open())
    for (const py_KnownClass* at = m_known; at != nullptr; at = at->before)
      if (at->known.type) // the library's are there
        m_sim.handle().schemaSnapshot().Register(at->known.id);
}

const py_Class* py_FindClass(gbb_Class of) {
  for (gbb_Class is = of; !!is; is = is.Parent())
    if (const py_Class* const known = find([&](const py_Class& one) { return one.id == is; }))
      return known;
  return nullptr;
}

const py_Class& py_ClassOf(const pdm::Error& where, const py::object& type) {
  const py_Class* const known = find([&](const py_Class& one) { return one.type && one.type.is(type); });
  if (known == nullptr)
    throw pdm::Error(where.file(), where.path(), where.operation(),
                     "expected a class of a host's module, found " + std::string(py::repr(type)));
  return *known;
}

void* py_Make(const pdm::Error& where, gbb_Class as, const py_Class* made) {
  const py_Class* const known = made == nullptr ? py_FindClass(as) : made;
  void* const holder = known == nullptr ? nullptr : known->make(as);
  if (holder == nullptr)
    throw pdm::Error(where.file(), where.path(), where.operation(),
                     "expected a " + name_of(as) + ", found " +
                         (made == nullptr ? "no class of that name" : "a " + name_of(made->id)));
  return holder;
}

void py_DefineClasses(py::module_& module) {
  py_classes = &kApi;
  py_AddClass<msfD_DiscreteModel>();
  py_AddClass<msfD_Mesh>();
  py_AddClass<fesD_FESystem>();
  py_AddClass<fesD_GenericSystem>();
  py_AddClass<fesD_ModalSystem>();
  py_AddClass<fesD_ModalEvent>();
  py_AddClass<fesD_SubstructureSystem>();
  py_AddClass<fesD_SubDamp>();
  module.attr("_classes") = py::capsule(&kApi, py_ClassApi::kName);
}
