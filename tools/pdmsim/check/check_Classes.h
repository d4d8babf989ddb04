#pragma once

#include <string>
#include <vector>

/// A simple member as it stands in a stream.
struct check_Member {
  std::string name;
  int index;
  unsigned char tag;
};

/// A child object, or an array of them.
struct check_Child {
  std::string name, className; // the class that is expected, or a base of it
  bool isArray;
};

/// What the generated tables say of one class; members and children are its own, not those of its base.
struct check_Class {
  std::string name, base; // persistent names; no base: ""
  std::vector<check_Member> members;
  std::vector<check_Child> children;

  const check_Member* Member(int index) const;
  const check_Child* Child(const std::string& child) const;
  /// Null for a class that this program does not know.
  static const check_Class* Find(const std::string& name);
  /// True when the class is `other` or descends from it.
  bool IsA(const std::string& other) const;
};
