#include <campaign/camp_Session.h>

hid_t camp_Session::AccessList(bool isLive) const {
  H5J_options_t options{};
  options.version = H5J_OPTIONS_VERSION;
  options.durability = m_config.durability;
  options.live = isLive;
  options.waiting_time = m_waitingTime;
  options.memory_limit = m_config.memory;
  options.journal_limit = m_config.journal;
  const hid_t list = H5Pcreate(H5P_FILE_ACCESS);
  if (!m_config.isOldFormat)
    H5Pset_libver_bounds(list, H5F_LIBVER_V18, H5F_LIBVER_V18);
  H5Pset_fapl_journal(list, &options);
  return list;
}

bool camp_Session::Create() {
  Drop();
  const camp_Handle access(AccessList(false), H5Pclose), creation(H5Pcreate(H5P_FILE_CREATE), H5Pclose);
  if (m_config.isMarked)
    H5Pset_journal_mark(creation);
  m_id = H5Fcreate(m_file.c_str(), H5F_ACC_TRUNC, creation, access);
  return IsOpen();
}

bool camp_Session::Open(unsigned flags, bool isLive) {
  Drop();
  const camp_Handle access(AccessList(isLive), H5Pclose);
  m_id = H5Fopen(m_file.c_str(), flags, access);
  return IsOpen();
}

void camp_Session::Drop() {
  if (IsOpen())
    H5Fclose(std::exchange(m_id, -1));
}

H5J_info_t camp_Session::Info() const {
  H5J_info_t info{};
  H5Jget_info(m_id, &info);
  return info;
}
