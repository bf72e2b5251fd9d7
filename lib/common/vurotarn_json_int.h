/* vurotarn_json_int.h - readers of JSON members that never throw. Records
 * are filled from callers' JSON; a member of the wrong kind reads as 0 or
 * the empty text instead of an exception through the API. */
#ifndef VUROTARN_JSON_INT_H
#define VUROTARN_JSON_INT_H

#include <stdlib.h>

#include <string>

#include <json/json.h>

/* Text of a scalar; "" for null, objects and arrays. */
inline std::string vurotarnJsonString(const Json::Value& v) {
    return v.isString() || v.isNumeric() || v.isBool() ? v.asString() : "";
}

/* A signed 64-bit number; decimal text is read too; anything else is 0. */
inline long long vurotarnJsonInt64(const Json::Value& v) {
    if (v.isInt64()) return v.asInt64();
    if (v.isUInt64()) return (long long)v.asUInt64();
    if (v.isDouble()) {
        // Out of range (1e300) the cast is undefined: such a number reads 0.
        double d = v.asDouble();
        return d >= -9223372036854775808.0 && d < 9223372036854775808.0 ? (long long)d : 0;
    }
    if (v.isBool()) return v.asBool() ? 1 : 0;
    if (v.isString()) return strtoll(v.asCString(), NULL, 10);
    return 0;
}

/* An unsigned 64-bit number; a negative one wraps as in C. */
inline unsigned long long vurotarnJsonUInt64(const Json::Value& v) {
    if (v.isUInt64()) return v.asUInt64();
    if (v.isString()) return strtoull(v.asCString(), NULL, 10);
    return (unsigned long long)vurotarnJsonInt64(v);
}

#endif
