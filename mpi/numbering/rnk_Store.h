#pragma once

#include <mpi/numbering/rnk_Rows.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Drawer.h>

/// A drawer to be made for rows.
/// Threads: a value; each thread uses values of its own.
struct rnk_Drawer {
  const char* name; // of its distribution
  ORXSimItemType type;
  int components;
};

// What follows is collective. Rank 0 writes, in one commit point; the collections count on rank 0 alone.

/// Makes a distribution with one drawer over a whole collection and writes rows into it.
/// \param over   has as many items as there are rows.
/// \param stored receives it; null on other ranks.
bool rnk_StoreDrawer(const rnk_Agreement& ranks, const rnk_Rows& rows, ORXSimCollectionID over,
                     const rnk_Drawer& drawer, ORXSimDistributionID& stored);
/// Makes an ordered set of rows that are item numbers of 64 bits.
/// \param over   a collection of `items` items.
/// \param stored receives it; null on other ranks.
bool rnk_StoreOrder(const rnk_Agreement& ranks, const rnk_Rows& rows, ORXSimCollectionID over,
                    std::int64_t items, ORXSimCSetID& stored);
