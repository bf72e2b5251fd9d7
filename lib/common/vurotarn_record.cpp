/* vurotarn_record.cpp - the out-of-line helpers of the record pattern: operation
 * messages and the "wanted" rule of the JSON forms. */
#include <stdarg.h>
#include <syslog.h>

#include <vurojson.h>

#include "common/vurotarn_record.h"

bool vurotarnJsonWanted(const Json::Value& jAdditional, const char* szKey) {
    return jAdditional.isNull() ||
           vurojson::searchArrayIndex(jAdditional, Json::Value(szKey)) != Json::Value::maxUInt;
}

Json::Value vurotarnJsonParsed(const std::string& text) {
    Json::Value j;
    vurojson::fromString(j, text);
    return j;
}

void vurotarnReport(bool blTrace, const char* file, int line, const char* fmt, ...) {
    char szMsg[4096];
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(szMsg, sizeof(szMsg), fmt, ap);
    va_end(ap);
    if (blTrace) {
        VUROTARNTracePlain(file, line, "%s\n", szMsg);
    } else {
        syslog(LOG_ERR, "%s:%d %s", file, line, szMsg);
    }
}
