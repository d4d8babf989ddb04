#include <fes/dpa/impl/fesD_DrawerInts.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Transfer.h>
#include <fes/dpa/impl/fesD_DofAssert.h>
#include <gbb/gbb_Call.h>

namespace {
// All of a drawer, as what it must be. Ends with the first thing that is wrong, which is the cause.
bool readInts(const ORXSimDistributionRef& distribution, const ORXSimPersistentDrawerDesc& drawer,
              int* ints) {
  ORXSimTransfer transfer(distribution);
  transfer.SetRead();
  transfer.SetBufferPadding(false);
  transfer.SetItemType(ORXSimItemType::kInt32);
  transfer.SetDim(0, drawer.CSet());
  if (!transfer.CheckView())
    return false;
  transfer.SetBuffer(0, ints, std::int64_t{drawer.Items()} * ORXSimItemSize(ORXSimItemType::kInt32));
  const bool read = transfer.ExecRead();
  transfer.RelinquishBuffers();
  return read;
}
} // namespace

int* fesD_ReadDrawerInts(const ORXSimDistributionRef& distribution, int& count) {
  ORXSimArray<ORXSimPersistentDrawerDesc> drawers(1);
  const bool known = distribution.QueryDrawers(drawers);
  int* const ints = fesD_NewInts(drawers[0].Items());
  const bool read = gbb_Call::Check(known && readInts(distribution, drawers[0], ints));
  count = read ? drawers[0].Items() : 0;
  return ints;
}
