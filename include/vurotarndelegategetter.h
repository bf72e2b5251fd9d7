/* vurotarndelegategetter.h - copies of a delegate record's fields; in memory only. */
#ifndef VUROTARNDELEGATEGETTER_H
#define VUROTARNDELEGATEGETTER_H

#include "vurotarndelegate.h"

VUROTARN_API int VUROTARNDelegateItemGetID(long* pVal, const VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VUROTARNDelegateItemGetModifiedTime(time_t* pVal,
                                                     const VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VUROTARNDelegateItemGetUserType(long* pVal, const VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VUROTARNDelegateItemGetUGID(unsigned long* pVal,
                                             const VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VUROTARNDelegateItemGetTargetType(long* pVal, const VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VUROTARNDelegateItemGetTargetID(long* pVal, const VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VUROTARNDelegateItemGetExtraInfo(char* szBuf, size_t cbBuf,
                                                  const VURO_TARN_DELEGATE* pDelegate);

#endif
