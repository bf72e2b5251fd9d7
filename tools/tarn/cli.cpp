/* cli.cpp - argument parsing, failure exits and JSON output shared by the
 * tarn commands. */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

#include <iostream>

#include <vurojson.h>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

Args parseArgs(int argc, char** argv, int first) {
    Args args;
    for (int i = first; i < argc; i++) {
        std::string a = argv[i];
        if (a.rfind("--", 0) != 0) {
            args.positional.push_back(a);
            continue;
        }
        std::string key = a.substr(2);
        // An option with no value behind it is a flag ("--desc-order").
        if (i + 1 < argc && std::string(argv[i + 1]).rfind("--", 0) != 0) {
            args.options[key] = argv[++i];
        } else {
            args.flags[key] = true;
        }
    }
    return args;
}

long parseLong(const std::string& text, const char* what) {
    char* end = NULL;
    errno = 0;
    long v = strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0) {
        throw UsageError{std::string("not a number for ") + what + ": '" + text + "'"};
    }
    return v;
}

std::string parseJsonText(const std::string& text, const char* what) {
    Json::Value j;
    if (!vurojson::fromString(j, text)) {
        throw UsageError{std::string("not JSON for ") + what + ": '" + text + "'"};
    }
    return vurojson::toString(j);
}

void fail(const std::string& what) {
    fprintf(stderr, "tarn: %s", what.c_str());
    if (QLIBCErrGet() != 0) {
        fprintf(stderr, " (error 0x%04X at %s:%d)", (unsigned)QLIBCErrGet(),
                QLIBCErrorGetFile() ? QLIBCErrorGetFile() : "?", QLIBCErrorGetLine());
    }
    fprintf(stderr, "\n");
    exit(1);
}

void printJson(const Json::Value& j) {
    Json::StreamWriterBuilder w;
    w["indentation"] = "  ";
    w["emitUTF8"] = true;
    std::cout << Json::writeString(w, j) << std::endl;
}

unsigned long long parseULongLong(const std::string& text, const char* what) {
    char* end = NULL;
    errno = 0;
    unsigned long long v = strtoull(text.c_str(), &end, 10);
    if (text.empty() || text[0] == '-' || *end != '\0' || errno != 0) {
        throw UsageError{std::string("not a number for ") + what + ": '" + text + "'"};
    }
    return v;
}

long singleId(const Args& args, const char* what) {
    if (args.positional.size() != 1) {
        throw UsageError{std::string(what) + " takes one id"};
    }
    return parseLong(args.positional[0], "id");
}

long nodeTypeParse(const std::string& text, const char* what) {
    if (text == "ou") return VURO_TARN_TYPE_OU;
    if (text == "peer") return VURO_TARN_TYPE_PEER;
    throw UsageError{std::string(what) + " is ou or peer, not '" + text + "'"};
}

ListQuery::ListQuery(const Args& args,
                     const std::vector<std::pair<std::string, std::string>>& filters)
    : pHash_(QLIBCSzHashAlloc(16)) {
    for (const auto& f : filters) {
        if (args.has(f.first)) {
            QLIBCSzHashSetValue(&pHash_, f.second.c_str(), args.get(f.first).c_str());
        }
    }
    QLIBCSzHashSetValue(&pHash_, "sort_by", args.get("sort-by", "id").c_str());
    QLIBCSzHashSetValue(&pHash_, "sort_direction", args.flag("desc-order") ? "DESC" : "ASC");
    for (const char* key : {"limit", "offset"}) {
        if (args.has(key)) {
            QLIBCSzHashSetValue(&pHash_, key,
                                std::to_string(parseLong(args.get(key), key)).c_str());
        }
    }
}

ListQuery::~ListQuery() { QLIBCSzHashFree(pHash_); }

namespace {
template <class Rec>
Json::Value recordJsonBy(int (*toJson)(const Rec*, const Json::Value&, Json::Value&),
                         const Rec* p) {
    Json::Value j;
    if (toJson(p, Json::Value(), j) != 0) fail("cannot render a record as JSON");
    return j;
}
}  // namespace

Json::Value recordJson(const VURO_TARN_OU* p) { return recordJsonBy(VUROTARNOuStructToJson, p); }
Json::Value recordJson(const VURO_TARN_PEER* p) {
    return recordJsonBy(VUROTARNPeerStructToJson, p);
}
Json::Value recordJson(const VURO_TARN_GPO* p) { return recordJsonBy(VUROTARNGpoStructToJson, p); }
Json::Value recordJson(const VURO_TARN_DELEGATE* p) {
    return recordJsonBy(VUROTARNDelegateStructToJson, p);
}

}  // namespace tarncli

namespace tarncli {

long long parseLongIn(const std::string& text, const char* what, long long lo, long long hi) {
    char* end = NULL;
    errno = 0;
    long long v = strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || v < lo || v > hi) {
        // Out of range is refused, never wrapped into the column's type.
        throw UsageError{std::string(what) + " is a number from " + std::to_string(lo) + " to " +
                         std::to_string(hi) + ", not '" + text + "'"};
    }
    return v;
}

void nodeExistsCheck(long id, long type, const char* what) {
    bool found = false;
    if (type == VURO_TARN_TYPE_OU) {
        VURO_TARN_OU ou;
        found = VUROTARNOuGet(id, &ou) == 0;
    } else {
        VURO_TARN_PEER peer;
        found = VUROTARNPeerGet(id, &peer) == 0;
    }
    if (!found) {
        throw UsageError{std::string("no ") + (type == VURO_TARN_TYPE_OU ? "OU" : "peer") +
                         " with id " + std::to_string(id) + " for " + what};
    }
}

void linkTextCheck(const Json::Value& j, const char* idKey, const char* what) {
    bool ok = j.isObject() && j["order"].isArray();
    for (Json::ArrayIndex i = 0; ok && i < j["order"].size(); i++) {
        const Json::Value& e = j["order"][i];
        ok = e.isObject() && e[idKey].isIntegral() &&
             (!e.isMember("override") ||
              (e["override"].isIntegral() && e["override"].asLargestInt() >= 0 &&
               e["override"].asLargestInt() <= 1));
    }
    // Any other shape would be stored and then skipped by every reader.
    if (!ok) {
        throw UsageError{std::string(what) + " is {\"order\":[{\"" + idKey +
                         "\":N,\"override\":0|1},...]}, not " + vurojson::toString(j)};
    }
}

std::string linkTextParse(const std::string& text, const char* what) {
    std::string compact = parseJsonText(text, what);
    Json::Value j;
    vurojson::fromString(j, compact);
    linkTextCheck(j, "id", what);
    return compact;
}

}  // namespace tarncli
