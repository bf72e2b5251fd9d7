/* json.cpp - the JSON helpers beside jsoncpp: strict whole-text parsing,
 * compact UTF-8 output and a search in arrays. */
#include "vurojson.h"

#include <fstream>
#include <memory>
#include <sstream>

#include "vurocore.h"

namespace vurojson {

bool fromString(Json::Value& v, const std::string& text) {
    v = Json::Value();
    if (text.empty()) {
        return false;
    }
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    // Trailing text after the value means the whole text is not JSON.
    builder["failIfExtra"] = true;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errs;
    Json::Value parsed;
    // Nesting deeper than the reader's stack limit throws rather than fails.
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &parsed, &errs)) {
            return false;
        }
    } catch (const Json::Exception&) {
        return false;
    }
    v.swap(parsed);
    return true;
}

bool fromFile(Json::Value& v, const std::string& path) {
    v = Json::Value();
    std::ifstream in(VUROSysPathStr(path), std::ios::binary);
    if (!in) {
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) {
        return false;
    }
    return fromString(v, text.str());
}

std::string toString(const Json::Value& v) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    std::string out = Json::writeString(builder, v);
    while (!out.empty() && out.back() == '\n') {
        out.pop_back();
    }
    return out;
}

Json::ArrayIndex searchArrayIndex(const Json::Value& array, const Json::Value& item) {
    if (!array.isArray()) {
        return Json::Value::maxUInt;
    }
    for (Json::ArrayIndex i = 0; i < array.size(); i++) {
        if (array[i] == item) {
            return i;
        }
    }
    return Json::Value::maxUInt;
}

}  // namespace vurojson
