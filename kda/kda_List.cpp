#include <kda/kda_List_Impl.h>

#include <UTI_CoreUtils/err_Stream.h>

void kda_ReportListIndex(int i) {
  err_Write("** ERROR kda_List::operator[]: index ");
  err_Write(i);
  err_Write(" is out of bounds\n");
}

#define KDA_DEFINE(T) template class kda_List<T>;
KDA_FOR_EACH_VALUE_TYPE(KDA_DEFINE)
#undef KDA_DEFINE
