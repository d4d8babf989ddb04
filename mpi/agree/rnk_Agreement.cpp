#include <mpi/agree/rnk_Agreement.h>

#include <mpi/agree/rnk_Rules.h>

namespace {
thread_local std::string s_lastError;
}

rnk_Agreement::rnk_Agreement(MPI_Comm comm) : m_comm(comm) {
  MPI_Comm_rank(comm, &m_rank);
  MPI_Comm_size(comm, &m_size);
}

bool rnk_Agreement::All(bool mine, const std::string& cause) const {
  std::string first = cause;
  if (rnk_Broken(rnk_Rule::kAgreement) ? mine : Everybody(mine, cause, first))
    return true;
  s_lastError = first;
  return false;
}

bool rnk_Agreement::Everybody(bool mine, const std::string& cause, std::string& text) const {
  const int failed = mine ? m_size : m_rank;
  int first = m_size;
  MPI_Allreduce(&failed, &first, 1, MPI_INT, MPI_MIN, m_comm);
  if (first == m_size)
    return true;
  text = m_rank == first ? cause : std::string();
  std::uint64_t length = text.size();
  MPI_Bcast(&length, 1, MPI_UINT64_T, first, m_comm);
  text.resize(length);
  MPI_Bcast(text.data(), static_cast<int>(length), MPI_CHAR, first, m_comm);
  return false;
}

bool rnk_Agreement::Root(bool root, const std::string& cause) const {
  Share(root);
  if (root)
    return true;
  std::string text = cause;
  Share(text);
  s_lastError = text;
  return false;
}

// Counts of MPI are ints.
void rnk_Agreement::Share(void* bytes, std::size_t count) const {
  constexpr std::size_t kPiece = std::size_t{1} << 30;
  auto* at = static_cast<char*>(bytes);
  for (; count > 0; at += kPiece) {
    const std::size_t now = count < kPiece ? count : kPiece;
    MPI_Bcast(at, static_cast<int>(now), MPI_BYTE, 0, m_comm);
    count -= now;
  }
}

void rnk_Agreement::Share(std::string& text) const {
  std::uint64_t length = text.size();
  Share(length);
  text.resize(length);
  Share(text.data(), length);
}

std::vector<std::int64_t> rnk_Agreement::Gather(std::int64_t mine) const {
  std::vector<std::int64_t> all(static_cast<std::size_t>(m_size));
  MPI_Allgather(&mine, 1, MPI_INT64_T, all.data(), 1, MPI_INT64_T, m_comm);
  return all;
}

const std::string& rnk_Agreement::LastError() {
  return s_lastError;
}

void rnk_Agreement::SetLastError(const std::string& text) {
  s_lastError = text;
}

void rnk_Agreement::ClearLastError() {
  s_lastError.clear();
}
