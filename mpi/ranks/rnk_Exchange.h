#pragma once

#include <mpi/ranks/rnk_Ranges.h>
#include <mpi/ranks/rnk_State.h>

/// Rows that ranks have in lists, on their way to ranks that have them in pieces, and back.
class rnk_Exchange {
 public:
  /// \param rows  this rank's, within the drawer.
  /// \param pieces  tile the drawer; both outlive this object.
  rnk_Exchange(const rnk_State& state, const ORXSimDrawerPlace& place, const std::vector<std::int32_t>& rows,
               const rnk_Ranges& pieces)
      : m_state(state), m_place(place), m_rows(rows), m_pieces(pieces) {}

  /// Tells every rank which of its rows the others mean. Collective; false on all when memory is lacking
  /// anywhere.
  bool Ask(const char* what);
  /// Brings the rows of all lists to this rank's piece. Collective; after Ask.
  /// \param bytes  of this rank's list.
  /// \param piece  becomes this rank's piece.
  /// \return false on all when a row came twice or not at all.
  bool ToPieces(const char* what, const unsigned char* bytes, std::vector<unsigned char>& piece);
  /// Brings the asked rows of all pieces to this rank's list. Collective; after Ask.
  /// \param needed  Needed() of this rank; `piece` has its rows.
  bool ToLists(const char* what, const rnk_Range& needed, const unsigned char* piece, unsigned char* bytes);
  /// The part of this rank's piece that others have asked for.
  rnk_Range Needed() const;

 private:
  std::size_t BytesOf(std::int64_t rows) const { return static_cast<std::size_t>(rows * m_place.rowBytes); }

  const rnk_State& m_state;
  const ORXSimDrawerPlace& m_place;
  const std::vector<std::int32_t>& m_rows;
  const rnk_Ranges& m_pieces;
  std::vector<std::int32_t> m_order; // places in the list, by the rank that has the row's piece
  std::vector<std::int32_t> m_asked; // rows of this piece, in the order of the ranks that mean them
  std::vector<int> m_out, m_outAt, m_in, m_inAt; // rows a rank, and where they begin
};
