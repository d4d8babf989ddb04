#pragma once

#include <string>
#include <vector>

/// A simple member as it stands in a stream.
struct show_Member {
  std::string name;
  int index;
  unsigned char tag;
};

/// A child object, or an array of them.
struct show_ClassChild {
  std::string name, className; // the class that is expected, or a base of it
  bool isArray;
  int index;
};

/// What is known of one class; members and children are its own, not those of its base.
struct show_Class {
  std::string name, base; // persistent names; no base: ""
  std::vector<show_Member> members;
  std::vector<show_ClassChild> children;

  const show_Member* Member(int index) const;
  const show_ClassChild* Child(const std::string& child) const;
  /// The class as this program was built with it, null when it was built without.
  static const show_Class* Known(const std::string& name);
};
