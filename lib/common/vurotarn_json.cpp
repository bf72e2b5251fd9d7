/* vurotarn_json.cpp - small JSON helpers shared by the families' JSON forms. */
#include <vurojson.h>

#include "common/vurotarn_record.h"

bool vurotarnJsonWanted(const Json::Value& jAdditional, const char* szKey) {
    return jAdditional.isNull() ||
           vurojson::searchArrayIndex(jAdditional, Json::Value(szKey)) != Json::Value::maxUInt;
}
