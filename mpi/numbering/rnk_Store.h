#pragma once

#include <mpi/ORXSim_Ranks.h>
#include <mpi/numbering/rnk_Parts.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Drawer.h>

/// A drawer to be made for rows that the ranks have in rank order.
/// Threads: a value; each thread uses values of its own.
struct rnk_Drawer {
  const char* name; // of its distribution
  ORXSimItemType type;
  int components;
};

// What follows is collective. The collections count on rank 0 alone.

/// Makes a distribution with one drawer over a whole collection and writes rows into it, in one commit point.
/// \param parts  whose the rows are, as many as the collection has items.
/// \param mine   those of this rank.
/// \param stored receives it; null on other ranks.
bool rnk_StoreDrawer(const ORXSimRanks& ranks, const rnk_Parts& parts, const void* mine,
                     ORXSimCollectionID over, const rnk_Drawer& drawer, ORXSimDistributionID& stored);
/// Makes an ordered set of a collection's items, one commit point. Rank 0 gets all in pieces.
/// \param parts  whose the members are.
/// \param mine   those of this rank.
/// \param over   a collection of `items` items.
/// \param stored receives it; null on other ranks.
bool rnk_StoreOrder(const ORXSimRanks& ranks, const rnk_Parts& parts, const std::int64_t* mine,
                    ORXSimCollectionID over, std::int64_t items, ORXSimCSetID& stored);
