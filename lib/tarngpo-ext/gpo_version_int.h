/* gpo_version_int.h - shared by the version walk and the set converters:
 * the list of sets that have a converter, and lenient readers of table and
 * policy values (a hand-edited table or a stored policy must not throw). */
#ifndef GPO_VERSION_INT_H
#define GPO_VERSION_INT_H

#include <climits>
#include <cstdlib>
#include <string>

#include <json/json.h>

#include "common/vurotarn_json_int.h"

/* One row per set with a converter class: ROW(set name). A new converter
 * means a new class, its newXxxGpoConverter() and a row here. */
#define VUROTARN_GPO_CONVERTER_LIST(ROW) ROW(Samba)

namespace gpoversion {

inline std::string jsonStr(const Json::Value& v) { return vurotarnJsonString(v); }

/* Integer value; decimal text is read in base 10; anything else, or a value
 * out of int range, reads 0, which every caller treats as invalid. */
inline int jsonInt(const Json::Value& v) {
    if (v.isBool()) {
        return v.asBool() ? 1 : 0;
    }
    if (v.isNumeric()) {
        double d = v.asDouble();
        return (d >= INT_MIN && d <= INT_MAX) ? (int)d : 0;
    }
    if (v.isString()) {
        long l = strtol(v.asCString(), NULL, 10);
        return (l >= INT_MIN && l <= INT_MAX) ? (int)l : 0;
    }
    return 0;
}

inline bool jsonBool(const Json::Value& v) {
    if (v.isBool() || v.isNumeric()) {
        return v.asBool();
    }
    if (v.isString()) {
        std::string s = v.asString();
        return !s.empty() && s != "false" && s != "0";
    }
    return false;
}

}  // namespace gpoversion

#endif
