/* vurotarngpogetter.h - copies of a gpo record's fields; in memory only. */
#ifndef VUROTARNGPOGETTER_H
#define VUROTARNGPOGETTER_H

#include "vurotarngpo.h"

VUROTARN_API int VUROTARNGpoItemGetID(long* pVal, const VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoItemGetModifiedTime(time_t* pVal, const VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoItemGetName(char* szBuf, size_t cbBuf, const VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoItemGetDescription(char* szBuf, size_t cbBuf,
                                               const VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoItemGetParentID(long* pVal, const VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoItemGetParentType(long* pVal, const VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoItemGetSetting(char* szBuf, size_t cbBuf, const VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoItemGetExtraInfo(char* szBuf, size_t cbBuf, const VURO_TARN_GPO* pGpo);

#endif
