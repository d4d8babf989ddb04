#pragma once

#include <pdmsim/show/show_Class.h>

#include <PDM_Core.h>

#include <functional>
#include <string>
#include <vector>

/// An identifier that a member holds: of a collection, a member set or a distribution.
struct check_Reference {
  int kind; // as in the file: 1 collection, 2 member set, 3 data set, 4 distribution
  int collection, minor;
};

/// Takes a member stream apart, record by record, believing nothing. Shares no code with the one who writes
/// them.
class check_Stream {
 public:
  /// What is wrong: kind and text. Kinds are those of docs/checking.md.
  using Tell = std::function<void(const char* kind, const std::string& text, bool note)>;
  /// Each identifier that is not null.
  /// \param member what holds it, "nodeSets[base]".
  using Refer = std::function<void(const std::string& member, const check_Reference& reference)>;

  /// \param known the class whose members these are, null when it is not known.
  check_Stream(const std::vector<unsigned char>& bytes, const show_Class* known, const Tell& tell,
               const Refer& refer)
      : m_bytes(bytes), m_class(known), m_tell(tell), m_refer(refer) {}
  void Run();

 private:
  struct Failure {}; // thrown to end the decoding; told already

  void CheckSum();
  void Record();
  void Value(unsigned char tag, const std::string& member);
  void Single(int base, const std::string& member);
  void Identifier(int kind, const std::string& member);
  std::string Key(bool isText);
  std::size_t Number();
  int Count();
  std::size_t Take(std::size_t n);
  [[noreturn]] void Fail(const std::string& text);

  const std::vector<unsigned char>& m_bytes;
  const show_Class* m_class;
  const Tell& m_tell;
  const Refer& m_refer;
  std::size_t m_at = 0, m_limit = 0;
};
