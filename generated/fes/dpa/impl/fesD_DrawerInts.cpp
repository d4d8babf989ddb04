#include <fes/dpa/impl/fesD_DrawerInts.h>

#include <UTI_CoreUtils/mem_Allocation.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Transfer.h>

int* fesD_ReadDrawerInts(const ORXSimDistributionRef& distribution, int& count) {
  ORXSimArray<ORXSimPersistentDrawerDesc> drawers(1);
  const bool known = distribution.QueryDrawers(drawers);
  count = distribution.DataSizeItems(0);
  const std::int64_t bytes = std::int64_t{count} * ORXSimItemSize(ORXSimItemType::kInt32);
  int* const ints = static_cast<int*>(mem_OperatorNewThrowBuiltin(static_cast<std::size_t>(bytes)));

  ORXSimTransfer transfer(distribution);
  transfer.SetRead();
  transfer.SetBufferPadding(false);
  transfer.SetDim(0, drawers[0].CSet());
  const bool fits = transfer.CheckView();
  // Floats are as wide as ints: to say that there is no room for them makes the transfer refuse them.
  transfer.SetBuffer(0, ints, drawers[0].Type() == ORXSimItemType::kInt32 ? bytes : 0);
  if (!(known && fits && transfer.ExecRead()))
    count = 0;
  transfer.RelinquishBuffers();
  return ints;
}
