#include <UTI_ORXSimDynamicAPI/ORXSim_Assert.h>

#include <UTI_CoreUtils/UTI_CoreUtils.h>

#include <cstdlib>

void ORXSimAssert::ReportValidationFailure(const char* condition) {
  err_Write("Validation failure: ");
  err_Write(condition);
  err_Write("\n");
  err_Flush();
}

#if defined(__clang__) || defined(__GNUC__)
__attribute__((no_sanitize("undefined")))
#endif
void ORXSimAssert::Stop() {
  *static_cast<volatile int*>(nullptr) = 0;
  std::abort();
}
