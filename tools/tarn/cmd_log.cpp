/* cmd_log.cpp - "tarn log": the event log, listed with its filters and
 * counts in one language, read by id, or emptied. */
#include <stdio.h>
#include <time.h>

#include <string>
#include <vector>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

/* One row in the language asked for: the fields a reader wants, the
 * message under "message". */
Json::Value rowInLang(const VURO_TARNLOG* p, const std::string& lang) {
    Json::Value full = VUROTARNLogStructToJson(p);
    Json::Value j(Json::objectValue);
    for (const char* key :
         {"id", "happen_time", "level", "user_id", "username", "obj_id", "parent_obj_id"}) {
        j[key] = full[key];
    }
    j["level_name"] = VUROTARNLevelIntToStr(p->level);
    j["severity"] = VUROTARNLevelIntToRevealStr(p->level);
    j["message"] = full[lang];
    j["extra_info"] = full["extra_info"];
    return j;
}

std::string timeText(time_t t) {
    char buf[32];
    struct tm tmv;
    localtime_r(&t, &tmv);
    strftime(buf, sizeof(buf), "%Y-%m-%d %H:%M:%S", &tmv);
    return buf;
}

int logList(const Args& args) {
    char szLang[16];
    VUROMsgGetLocalLang(szLang, sizeof(szLang));
    std::string lang = args.get("lang", szLang);
    // A word searches a field; either alone would be dropped without a word.
    Args filterArgs = args;
    if (args.has("word") && !args.has("field")) filterArgs.options["field"] = "all";
    std::string field = filterArgs.get("field");
    if (args.has("field") && !args.has("word")) throw UsageError{"--field needs --word"};
    if (!field.empty() && field != "all" && field != "username" && field != "action") {
        throw UsageError{"--field is all, username or action, not '" + field + "'"};
    }
    ListQuery query(filterArgs, {{"word", "filter_word"}, {"field", "filter_field"}});
    QLIBCSzHashSetValue(query.hashRef(), "lang", lang.c_str());
    if (args.has("obj-id")) {
        QLIBCSzHashSetValue(query.hashRef(), "obj_id", args.get("obj-id").c_str());
    }
    if (args.has("for-user")) {
        // The objects the user may see, quoted for the filter, however many.
        std::string ids;
        if (VUROMsgGetObjIdListByUser(args.get("for-user").c_str(), &ids) != 0) {
            fail("cannot list the objects of user " + args.get("for-user"));
        }
        // Nothing visible: an empty list, which no row matches.
        QLIBCSzHashSetValue(query.hashRef(), "obj_id", ids.c_str());
    }
    VURO_TARNLOG_LIST list = nullptr;
    size_t total = 0, errors = 0, warnings = 0, infos = 0;
    if (VUROTARNLogList(query.hash(), &list, &total, &errors, &warnings, &infos) < 0) {
        fail("cannot list the event log");
    }
    // The list runs against the query's order; print it the query's way.
    std::vector<const VURO_TARNLOG*> rows;
    for (const VURO_TARNLOG* p = list; p != nullptr; p = p->pNext) rows.insert(rows.begin(), p);
    if (args.flag("human")) {
        for (const VURO_TARNLOG* p : rows) {
            printTextf("%s  %-11s  %-12s  %s\n", timeText(p->happen_time).c_str(),
                       VUROTARNLevelIntToRevealStr(p->level).c_str(),
                       p->str_username.empty() ? "-" : p->str_username.c_str(),
                       rowInLang(p, lang)["message"].asString().c_str());
        }
    } else {
        Json::Value out(Json::objectValue);
        out["total"] = (Json::UInt64)total;
        out["error"] = (Json::UInt64)errors;
        out["warning"] = (Json::UInt64)warnings;
        out["information"] = (Json::UInt64)infos;
        out["lang"] = lang;
        out["items"] = Json::Value(Json::arrayValue);
        for (const VURO_TARNLOG* p : rows) {
            out["items"].append(args.flag("all-langs") ? VUROTARNLogStructToJson(p)
                                                       : rowInLang(p, lang));
        }
        printJson(out);
    }
    VUROTARNLogListFree(&list);
    return 0;
}

}  // namespace

int cmdLog(const std::string& verb, const Args& args) {
    if (verb == "list") {
        return logList(args);
    }
    if (verb == "get") {
        VURO_TARNLOG log;
        if (VUROTARNLogGetByID(singleId(args, "log row"), &log) != 0) fail("cannot read the row");
        if (!log.available) failNotFound("no such row");
        printJson(VUROTARNLogStructToJson(&log));
        return 0;
    }
    if (verb == "clear") {
        if (VUROTARNLogDeleteByID(-1) != 0) fail("cannot empty the event log");
        printJson(Json::Value(Json::objectValue));
        return 0;
    }
    throw UsageError{"unknown log command '" + verb + "'"};
}

}  // namespace tarncli
