/* vurotarnlog_int.h - what the event log's sources share: the language
 * table that ties codes, record fields and columns together. */
#ifndef VUROTARNLOG_INT_H
#define VUROTARNLOG_INT_H

#include <string>

#include "vurotarnlog.h"

struct VurotarnLogLang {
    const char* szCode;
    std::string VURO_TARNLOG::*field;
};

/* The twenty languages in the order of the language list. */
extern const VurotarnLogLang kVurotarnLogLangs[VUROTARNLOG_LANG_COUNT];

/* Index of a language code, or -1. */
int vurotarnLogLangIndex(const char* szCode);

#endif
