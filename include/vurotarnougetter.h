/* vurotarnougetter.h - copies of an OU record's fields; in memory only. */
#ifndef VUROTARNOUGETTER_H
#define VUROTARNOUGETTER_H

#include "vurotarnou.h"

VUROTARN_API int VUROTARNOuItemGetID(long* pVal, const VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuItemGetModifiedTime(time_t* pVal, const VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuItemGetName(char* szBuf, size_t cbBuf, const VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuItemGetDescription(char* szBuf, size_t cbBuf, const VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuItemGetParentID(long* pVal, const VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuItemGetBlockInheritance(long* pVal, const VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuItemGetLinkedGPO(char* szBuf, size_t cbBuf, const VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuItemGetExtraInfo(char* szBuf, size_t cbBuf, const VURO_TARN_OU* pOu);

#endif
