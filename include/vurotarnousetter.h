/* vurotarnousetter.h - changes to an OU record's fields; in memory only. */
#ifndef VUROTARNOUSETTER_H
#define VUROTARNOUSETTER_H

#include "vurotarnou.h"

VUROTARN_API int VUROTARNOuItemSetID(VURO_TARN_OU* pOu, long val);
VUROTARN_API int VUROTARNOuItemSetModifiedTime(VURO_TARN_OU* pOu, time_t val);
VUROTARN_API int VUROTARNOuItemSetName(VURO_TARN_OU* pOu, const char* szVal);
VUROTARN_API int VUROTARNOuItemSetDescription(VURO_TARN_OU* pOu, const char* szVal);
VUROTARN_API int VUROTARNOuItemSetParentID(VURO_TARN_OU* pOu, long val);
VUROTARN_API int VUROTARNOuItemSetBlockInheritance(VURO_TARN_OU* pOu, long val);
VUROTARN_API int VUROTARNOuItemSetLinkedGPO(VURO_TARN_OU* pOu, const char* szVal);
VUROTARN_API int VUROTARNOuItemSetExtraInfo(VURO_TARN_OU* pOu, const char* szVal);

#endif
