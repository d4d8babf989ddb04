#pragma once

#include <pdmsim/show/show_FileClasses.h>
#include <pdmsim/show/show_Values.h>

/// The tree of objects in one file, walked by what program and file know of their classes: an object of a
/// class that the program was not built with shows by the file's own description of it.
///
/// Of a class that nobody describes, and of members that nobody names, the values are shown without names,
/// and no children. What is no object tree throws cli_Failure; what could not be read is in
/// ORXSimManager::LastError().
class show_Objects {
 public:
  /// \param file the file's name, for messages.
  /// \param bytes its size.
  /// \param most  elements of an array that are described; 0: all.
  show_Objects(const std::string& file, unsigned long long bytes, ORXSimContextID context, int most = 0);

  /// The simulation with everything below it.
  show_Json Describe();
  /// What a path leads to below the simulation: names of children, elements' numbers, names of members, and
  /// at last the key of a map. None when there is nothing of that name.
  std::optional<show_Target> Find(std::string_view path);
  /// True when the file describes its classes itself.
  bool Describes() const { return m_classes.Describes(); }
  /// How far the last path that led to nothing went.
  struct Stop {
    std::string at, name;           // what is there, "" for the simulation, and what it has not
    std::vector<std::string> names; // that it has
  };
  const std::optional<Stop>& Stopped() const { return m_stop; }

 private:
  struct Object;
  using Path = std::optional<std::string_view>; // what is left of one; none: nothing follows

  gbb_Group Sim() const;
  std::optional<Object> Open(const gbb_Group& group, const std::string& expected);
  Object BaseOf(const Object& object);
  show_Json ShowObject(const std::optional<Object>& object);
  void AddPart(const Object& object, show_Json& members, show_Json& children);
  show_Json ShowChild(const Object& object, const show_ClassChild& child);
  std::optional<show_Target> FindIn(const std::optional<Object>& object, Path path, const std::string& at);
  std::optional<show_Target> FindChild(const Object& object, const show_ClassChild& child, Path path,
                                       const std::string& at);
  std::optional<show_Target> FindMember(const Object& object, Path path, const std::string& at);
  std::vector<std::string> NamesIn(const Object& object);
  std::nullopt_t StopAt(const std::string& at, std::string_view name, std::vector<std::string> names);
  template <class F>
  void Members(const Object& object, F&& f);
  [[noreturn]] void Refuse(const gbb_Group& group, const std::string& found) const;

  std::string m_file;
  ORXSimContextID m_context;
  show_FileClasses m_classes;
  unsigned long long m_left; // objects that the file may still hold
  int m_depth = 0, m_most;
  std::optional<Stop> m_stop;
};
