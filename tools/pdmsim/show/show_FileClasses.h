#pragma once

#include <pdmsim/show/show_Class.h>

#include <PDM_Core.h>

#include <map>
#include <optional>
#include <string>

/// Reads a description of a class, as docs/file-format.md has them, and believes nothing.
/// \param name   the class that it should describe.
/// \param fault  what is wrong with it, when the result is empty.
std::optional<show_Class> show_ParseDescription(const std::string& text, const std::string& name,
                                                std::string& fault);

/// The classes of one file: those that this program was built with, and those that the file describes.
class show_FileClasses {
 public:
  /// What the file says of a class.
  enum Description {
    kNone,    // nothing
    kGood,    // something that can be used
    kDamaged, // something that cannot
    kOther    // another class than this program knows under that name
  };

  explicit show_FileClasses(ORXSimContextID context);

  /// The class as program and file know it together: what the program knows, then what the file has besides.
  /// \return null when neither knows it. Valid as long as this object.
  const show_Class* Find(const std::string& name) {
    return Entry(name).known ? &*Entry(name).known : nullptr;
  }
  Description Described(const std::string& name) { return Entry(name).description; }
  /// True when the file describes members of the class that this program does not know.
  bool HasGrown(const std::string& name);
  /// What is wrong with a description that is kDamaged or kOther.
  const std::string& Fault(const std::string& name) { return Entry(name).fault; }
  /// True when the file describes any classes.
  bool Describes() const { return m_describes; }
  /// True when the class is `other` or descends from it.
  bool IsA(const std::string& name, const std::string& other);

 private:
  struct Found {
    std::optional<show_Class> known;
    Description description = kNone;
    std::string fault;
  };
  Found& Entry(const std::string& name);
  bool Read(const std::string& name, std::string& text, Found& found) const;

  ORXSimContextID m_context;
  bool m_describes;
  std::map<std::string, Found> m_found;
};
