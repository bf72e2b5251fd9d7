/* vurojson.h - the four JSON members the system expects beside jsoncpp's
 * Json::Value, as free functions (Json::Value cannot grow members). */
#ifndef VUROJSON_H
#define VUROJSON_H

#include <json/json.h>
#include <string>

#define VUROJSON_EXPORT __attribute__((visibility("default")))

namespace vurojson {
/* Parses text into v; false (and v null) when it is not JSON. */
VUROJSON_EXPORT bool fromString(Json::Value& v, const std::string& text);
/* Parses the file at path (resolved under the system root) into v. */
VUROJSON_EXPORT bool fromFile(Json::Value& v, const std::string& path);
/* Compact text, no line end, UTF-8 kept as it is. */
VUROJSON_EXPORT std::string toString(const Json::Value& v);
/* Index of the first element equal to item, or Json::Value::maxUInt. */
VUROJSON_EXPORT Json::ArrayIndex searchArrayIndex(const Json::Value& array,
                                                  const Json::Value& item);
}  // namespace vurojson

#endif
