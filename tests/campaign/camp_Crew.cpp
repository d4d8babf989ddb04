#include <campaign/camp_Crew.h>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

bool camp_Helper::Join(const H5J_share_t& share, unsigned number) {
  Leave();
  if ((m_help = H5Jhelp(&share, number)) == nullptr)
    return false;
  m_file = ::open(share.name, O_RDWR | O_CLOEXEC);
  return m_file >= 0;
}

void camp_Helper::Leave() {
  if (m_file >= 0)
    ::close(std::exchange(m_file, -1));
  if (m_help != nullptr)
    H5Jend_help(std::exchange(m_help, nullptr));
}

bool camp_Helper::Write(const camp_Piece& piece, const char* bytes) const {
  return ::pwrite(m_file, bytes, piece.count, static_cast<off_t>(piece.at)) ==
         static_cast<ssize_t>(piece.count);
}

// What lies past the file's end is in memory yet.
bool camp_Helper::Read(std::uint64_t address, char* bytes, std::size_t count) const {
  const ssize_t got = ::pread(m_file, bytes, count, static_cast<off_t>(address));
  if (got >= 0)
    std::memset(bytes + got, 0, count - static_cast<std::size_t>(got));
  return got >= 0;
}

bool camp_Helper::Sync() const {
  return ::fdatasync(m_file) == 0;
}

bool camp_OwnCrew::Join(const H5J_share_t& share) {
  bool good = true;
  for (unsigned i = 0; i < kHelpers; ++i)
    good = good && m_helpers[i].Join(share, i + 1);
  return good;
}

void camp_OwnCrew::Leave() {
  for (camp_Helper& helper : m_helpers)
    helper.Leave();
}

bool camp_OwnCrew::Write(std::span<const camp_Piece> pieces, std::uint64_t address, const std::string& bytes,
                         bool syncs) {
  bool good = true;
  for (std::size_t i = 0; i < pieces.size(); ++i)
    good = m_helpers[i % kHelpers].Write(pieces[i], bytes.data() + (pieces[i].at - address)) && good;
  for (const camp_Helper& helper : m_helpers)
    good = (!syncs || helper.Sync()) && good;
  return good;
}

bool camp_OwnCrew::Read(std::uint64_t address, std::string& bytes) {
  return m_helpers[0].Read(address, bytes.data(), bytes.size());
}

// A dataset without a name and with space, into which nothing is written.
bool camp_Loan::Make() {
  const hsize_t size = m_bytes.size();
  const camp_Handle space(H5Screate_simple(1, &size, nullptr), H5Sclose),
      list(H5Pcreate(H5P_DATASET_CREATE), H5Pclose);
  if (H5Pset_alloc_time(list, H5D_ALLOC_TIME_EARLY) < 0 || H5Pset_fill_time(list, H5D_FILL_TIME_NEVER) < 0)
    return false;
  m_made.push_back(std::make_unique<camp_Handle>(
      H5Dcreate_anon(m_session.Id(), H5T_NATIVE_UCHAR, space, list, H5P_DEFAULT), H5Dclose));
  const haddr_t address = *m_made.back() < 0 ? HADDR_UNDEF : H5Dget_offset(*m_made.back());
  m_address = address;
  return address != HADDR_UNDEF;
}

bool camp_Loan::Put(std::uint64_t first, std::uint64_t end) const {
  return first >= end ||
         H5Jput(m_session.Hold(), first, end - first, m_bytes.data() + (first - m_address)) >= 0;
}

bool camp_Loan::Write(std::span<const camp_Piece> pieces) {
  return m_session.Crew().Write(pieces, m_address, m_bytes, m_syncs);
}

// Nothing is committed now.
bool camp_Loan::MayCommit(const char* what) {
  if (!m_session.Commit())
    return false;
  camp_Session::Note(what);
  return true;
}

bool camp_Loan::Begin() {
  constexpr int kMostTries = 16;
  constexpr std::size_t kPiece = 64 << 10;
  const bool joined =
      m_session.Info().may_commit && m_session.Joined(); // else a loan has failed in this step
  m_syncs = m_random.OneIn(2);
  for (int tries = 0; !m_lent && tries < (joined ? kMostTries : 1); ++tries) {
    if (!Make())
      return false;
    const htri_t lent = joined ? H5Jlend(m_session.Hold(), m_address, m_bytes.size(), &m_first, &m_end) : 0;
    if (lent < 0)
      return false;
    m_lent = lent > 0;
  }
  if (!m_lent)
    return true;
  ++*camp_Crew::s_loans;
  for (std::uint64_t at = m_first; at < m_end; at += m_pieces.back().count)
    m_pieces.push_back({at, std::min<std::size_t>(m_end - at, 4000 + m_random.Below(kPiece))});
  for (std::size_t i = m_pieces.size(); i > 1; --i)
    std::swap(m_pieces[i - 1], m_pieces[m_random.Below(i)]);
  const auto half = std::span<const camp_Piece>(m_pieces).first(m_pieces.size() / 2);
  m_good = Put(m_end, m_address + m_bytes.size()) && Write(half);
  return !(m_random.OneIn(3) && MayCommit("a commit beside a loan")) && m_good;
}

bool camp_Loan::End(bool spoils) {
  if (m_made.empty())
    return false;
  if (!m_lent)
    return H5Dwrite(*m_made.back(), H5T_NATIVE_UCHAR, H5S_ALL, H5S_ALL, H5P_DEFAULT, m_bytes.data()) >= 0;
  const auto rest = std::span<const camp_Piece>(m_pieces).subspan(m_pieces.size() / 2);
  m_good = m_good && Put(m_address, m_first) && Write(rest) && !(spoils && m_random.OneIn(2));
  m_session.Crew().Rest();
  H5Jtake_back(m_session.Hold(), m_good);
  return m_good || (!MayCommit("a commit after a helper had failed") && spoils);
}

bool camp_Loan::Name(const std::string& name) const {
  return !m_made.empty() &&
         H5Olink(*m_made.back(), m_session.Id(), name.c_str(), H5P_DEFAULT, H5P_DEFAULT) >= 0;
}

bool camp_Loan::ReadsRight(camp_Session& session, const std::string& name, const std::string& bytes) {
  constexpr std::uint64_t kPage = 4096;
  const camp_Handle data(H5Dopen2(session.Id(), name.c_str(), H5P_DEFAULT), H5Dclose);
  const haddr_t address = data < 0 ? HADDR_UNDEF : H5Dget_offset(data);
  if (address == HADDR_UNDEF || bytes.size() > camp_Crew::kMost || !session.Joined())
    return data >= 0;
  std::pair<std::uint64_t, std::string> read{address, std::string(bytes.size(), '\0')};
  if (!session.Crew().Read(address, read.second))
    return !session.Crew().IsThere(); // it has died
  const H5J_take_patch_t take = [](std::uint64_t at, const unsigned char* page, void* to) -> herr_t {
    auto& [start, target] = *static_cast<std::pair<std::uint64_t, std::string>*>(to);
    const std::uint64_t first = std::max(at, start), end = std::min(at + kPage, start + target.size());
    std::memcpy(target.data() + (first - start), page + (first - at), end - first);
    return 0;
  };
  if (H5Jpatches(session.Hold(), address, bytes.size(), take, &read) < 0)
    return false;
  if (read.second != bytes)
    camp_Session::Note("helpers read something else in " + name);
  return read.second == bytes;
}
