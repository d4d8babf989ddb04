#pragma once

#include <campaign/camp_State.h>

#include <algorithm>
#include <memory>
#include <string>

/// A simulation file as a host works on it. The failures of everything done through it are seen, also of
/// calls that answer nothing.
class camp_Session {
 public:
  static constexpr int kLiveReading = 3; // the context option

  /// \param leastOption durability that no session of the file falls below.
  camp_Session(std::string file, int leastOption)
      : m_file(std::move(file)), m_least(leastOption), m_option(leastOption) {}

  const std::string& File() const { return m_file; }
  /// The context option from the next opening on.
  void Option(int contextOption) { m_option = std::max(m_least, contextOption); }

  bool IsOpen() const { return m_root != nullptr && m_root->count() == 1; }
  bool Create() {
    return Take([&] { return m_root->createSim(m_file.c_str(), "", m_option); });
  }
  bool Open() {
    return Take([&] { return m_root->openSim(m_file.c_str(), "", m_option); });
  }
  bool OpenReadOnly() {
    return Take([&] { return m_root->openSimReadOnly(m_file.c_str(), "", m_option); });
  }
  void Close() { m_root.reset(); }

  msfD_Sim Sim() const { return IsOpen() ? m_root->get(0) : msfD_Sim(); }
  ORXSimContextID Context() const {
    return IsOpen() ? Sim().distributionService().Context() : ORXSimContextID();
  }
  msfD_Mesh Mesh() const { return Sim().discreteModel().mesh(); }

  /// Begins to watch for failures.
  static void Watch();
  /// True when nothing failed since Watch().
  static bool Clean();
  /// The first failure since Watch().
  static std::string Failure();

 private:
  template <class Call>
  bool Take(Call call) {
    m_root = std::make_unique<msfD_Root>(0);
    return !!call() && !Context().IsNull();
  }

  std::string m_file;
  int m_least, m_option;
  std::unique_ptr<msfD_Root> m_root;
};
