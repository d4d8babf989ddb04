#pragma once

// What the activity masks of a system's nodes come to. Bit b-1 of a mask stands for label b, 1 to 31.
// Threads: these functions share nothing.

inline constexpr unsigned dof_kAcoustic = 1 << 7; // label 8

/// Activates further labels, in place.
/// \param masks      [n] receives mask | mask << (shift & 31).
/// \param n          number of masks.
/// \param shift      any number.
/// \param addLabel10 adds label 10 to label 8, before the shift.
void dof_TransformMasks(int* masks, int n, int shift, bool addLabel10);

struct dof_MaskSums {
  unsigned labels = 0; // every label that occurs, as a mask
  int dofs = 0;        // active (node, label) pairs
};

/// \param masks [n]
/// \param n     number of masks.
/// \return their union and the number of their set bits.
dof_MaskSums dof_SumMasks(const int* masks, int n);

/// Numbers the labels in use without gaps, ascending.
/// \param labels    all labels in use, as a mask.
/// \param idByLabel [highest label + 1] receives the ids, -1 for labels that are not in use.
/// \param labelById [labels in use] receives the labels.
void dof_NumberLabels(unsigned labels, int* idByLabel, int* labelById);

/// \param mask      labels that are in use.
/// \param idByLabel as dof_NumberLabels() filled it.
/// \param ids       receives the ids of the labels, ascending.
/// \return how many there are.
int dof_IdsOf(unsigned mask, const int* idByLabel, int* ids);
