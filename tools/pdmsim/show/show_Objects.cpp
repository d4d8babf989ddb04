#include <pdmsim/show/show_Objects.h>

#include <pdmsim/show/show_Classes.h>

#include <cstring>

namespace {

std::string ClassName(const gbb_Handle& object) {
  const gbb_ClassID id = object.Class().ClassID();
  return {id.text, strnlen(id.text, gbb_ClassID::kSize)};
}

/// Calls f(handle) with the object as the first class of the list that it is an object of.
template <class... Handles, class F>
void As(std::tuple<Handles...>*, const gbb_Handle& object, F&& f) {
  const auto attempt = [&]<class Handle>(Handle handle) {
    if (!handle)
      return false;
    f(handle);
    return true;
  };
  (attempt(Handles(object)) || ...);
}
constexpr show_Classes* kClasses = nullptr;

} // namespace

show_Json show_Object(const gbb_Handle& object) {
  if (!object)
    return nullptr;
  show_Json json{{"kind", "object"}, {"class", ClassName(object)}};
  As(kClasses, object, [&](const auto& handle) { json.update(show_ObjectAs(handle)); });
  return json;
}

std::optional<show_Target> show_Find(const gbb_Handle& object, std::string_view path) {
  if (path.empty())
    return show_Target{show_Object(object), {}, {}};
  std::optional<show_Target> found;
  As(kClasses, object, [&](const auto& handle) { found = show_FindAs(handle, path); });
  return found;
}
