#pragma once

#include <campaign/camp_File.h>

#include <atomic>
#include <span>

/// Bytes of the file that one helper moves by one call.
struct camp_Piece {
  std::uint64_t at;
  std::size_t count;
};

/// Helpers that have a file open beside its writer.
class camp_Crew {
 public:
  /// The most bytes of one dataset that they move.
  static constexpr std::size_t kMost = std::size_t{2} << 20;
  static constexpr std::size_t kPieces = 512; // and in so many pieces
  camp_Crew() = default;
  camp_Crew(const camp_Crew&) = delete;
  camp_Crew& operator=(const camp_Crew&) = delete;
  virtual ~camp_Crew() = default;

  /// All of them open the file.
  virtual bool Join(const H5J_share_t& share) = 0;
  virtual void Leave() = 0;
  /// False when one has died.
  virtual bool IsThere() = 0;
  /// Each writes a part of these pieces of a dataset.
  /// \param syncs  and syncs the file before it answers.
  virtual bool Write(std::span<const camp_Piece> pieces, std::uint64_t address, const std::string& bytes,
                     bool syncs) = 0;
  /// The loan is over: none writes any more.
  virtual void Rest() {}
  /// One of them reads what the file shows.
  virtual bool Read(std::uint64_t address, std::string& bytes) = 0;

  static inline std::atomic<std::int64_t>* s_loans = nullptr; // counts them, in memory of all processes
};

/// One helper's descriptor of the file.
class camp_Helper {
 public:
  camp_Helper() = default;
  camp_Helper(const camp_Helper&) = delete;
  camp_Helper& operator=(const camp_Helper&) = delete;
  ~camp_Helper() { Leave(); }
  bool Join(const H5J_share_t& share, unsigned number);
  void Leave();
  bool Write(const camp_Piece& piece, const char* bytes) const;
  bool Read(std::uint64_t address, char* bytes, std::size_t count) const;
  bool Sync() const;

 private:
  H5J_help_t* m_help = nullptr;
  int m_file = -1;
};

/// Helpers without processes of their own: what they do stands among the writer's own calls.
class camp_OwnCrew : public camp_Crew {
 public:
  bool Join(const H5J_share_t& share) override;
  void Leave() override;
  bool IsThere() override { return true; }
  bool Write(std::span<const camp_Piece> pieces, std::uint64_t address, const std::string& bytes,
             bool syncs) override;
  bool Read(std::uint64_t address, std::string& bytes) override;

 private:
  static constexpr unsigned kHelpers = 2;
  camp_Helper m_helpers[kHelpers];
};

/// A dataset that gets new space, which helpers fill. What it does in the file is a function of the seed.
class camp_Loan {
 public:
  camp_Loan(camp_Session& session, const std::string& bytes, std::uint64_t seed)
      : m_session(session), m_bytes(bytes), m_random(seed) {}
  /// Lends the space; half of it is written.
  bool Begin();
  /// The rest is, and the loan ends.
  /// \param spoils  a helper tells that it has failed.
  bool End(bool spoils);
  /// The dataset comes into the file.
  bool Name(const std::string& name) const;
  /// True when a dataset reads right where helpers read it; also where they cannot reach it.
  static bool ReadsRight(camp_Session& session, const std::string& name, const std::string& bytes);

 private:
  bool Make();
  bool Put(std::uint64_t first, std::uint64_t end) const;
  bool Write(std::span<const camp_Piece> pieces);
  bool MayCommit(const char* what);

  camp_Session& m_session;
  const std::string& m_bytes;
  camp_Random m_random;
  std::vector<std::unique_ptr<camp_Handle>> m_made; // the last one is ours, the others hold their space
  std::vector<camp_Piece> m_pieces;
  std::uint64_t m_address = 0, m_first = 0, m_end = 0;
  bool m_lent = false, m_syncs = false, m_good = false;
};
