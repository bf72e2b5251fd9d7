/* vurotarndelegatesetter.h - changes to a delegate record's fields; in memory only. */
#ifndef VUROTARNDELEGATESETTER_H
#define VUROTARNDELEGATESETTER_H

#include "vurotarndelegate.h"

VUROTARN_API int VUROTARNDelegateItemSetID(VURO_TARN_DELEGATE* pDelegate, long val);
VUROTARN_API int VUROTARNDelegateItemSetModifiedTime(VURO_TARN_DELEGATE* pDelegate, time_t val);
VUROTARN_API int VUROTARNDelegateItemSetUserType(VURO_TARN_DELEGATE* pDelegate, long val);
VUROTARN_API int VUROTARNDelegateItemSetUGID(VURO_TARN_DELEGATE* pDelegate, unsigned long val);
VUROTARN_API int VUROTARNDelegateItemSetTargetType(VURO_TARN_DELEGATE* pDelegate, long val);
VUROTARN_API int VUROTARNDelegateItemSetTargetID(VURO_TARN_DELEGATE* pDelegate, long val);
VUROTARN_API int VUROTARNDelegateItemSetExtraInfo(VURO_TARN_DELEGATE* pDelegate, const char* szVal);

#endif
