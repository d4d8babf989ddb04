#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <gbb/gbb_AutoArray.h>

#include <cstdint>

/// The descriptions of classes in one file: group "classes", a dataset of bytes for each class. A file
/// carries that of every class whose objects this library has written there; reading objects never depends on
/// it.
///
/// Threads: one at a time for all objects of a root.
class gbb_ClassTexts {
 public:
  /// Writes the description of a class, unless this session knows that the file has it. One that is there
  /// already is replaced when it is of our form and all that it says of members and children is said by the
  /// new one as well; else it stays. Something else in that place stays, too. A class whose name no link may
  /// have gets no description. A write that fails is told by the gbb_Call under way.
  /// \param context of the file; null for none, where nothing is done.
  /// \param name    the class's persistent name.
  /// \param text    the description, which must outlive this object; docs/file-format.md has its form.
  void Write(ORXSimContextID context, const char* name, const char* text);

 private:
  struct Seen {
    const char* text;
    std::uint64_t epoch; // of the context when the file had it: a rollback or a refresh makes us look again
  };
  gbb_AutoArray<Seen, gbb_ClassTexts> m_seen;
};
