/* vurotarngposetter.h - changes to a gpo record's fields; in memory only. */
#ifndef VUROTARNGPOSETTER_H
#define VUROTARNGPOSETTER_H

#include "vurotarngpo.h"

VUROTARN_API int VUROTARNGpoItemSetID(VURO_TARN_GPO* pGpo, long val);
VUROTARN_API int VUROTARNGpoItemSetModifiedTime(VURO_TARN_GPO* pGpo, time_t val);
VUROTARN_API int VUROTARNGpoItemSetName(VURO_TARN_GPO* pGpo, const char* szVal);
VUROTARN_API int VUROTARNGpoItemSetDescription(VURO_TARN_GPO* pGpo, const char* szVal);
VUROTARN_API int VUROTARNGpoItemSetParentID(VURO_TARN_GPO* pGpo, long val);
VUROTARN_API int VUROTARNGpoItemSetParentType(VURO_TARN_GPO* pGpo, long val);
VUROTARN_API int VUROTARNGpoItemSetSetting(VURO_TARN_GPO* pGpo, const char* szVal);
VUROTARN_API int VUROTARNGpoItemSetExtraInfo(VURO_TARN_GPO* pGpo, const char* szVal);

#endif
