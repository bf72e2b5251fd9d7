/* cmd_app.cpp - "tarn app set|get|list|delete": the applications a peer
 * offers, stored by (peer, application id). */
#include <limits.h>

#include <string>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

/* Every language name is an option of its own, --name-<code>. */
struct AppNameOption {
    const char* szOption;
    std::string VURO_TARN_APP::*member;
};
#define APP_NAME_OPTION(lang) \
    { "name-" #lang, &VURO_TARN_APP::str_name_##lang }
const AppNameOption kAppNameOptions[] = {
    APP_NAME_OPTION(enu), APP_NAME_OPTION(cht), APP_NAME_OPTION(chs), APP_NAME_OPTION(krn),
    APP_NAME_OPTION(ger), APP_NAME_OPTION(fre), APP_NAME_OPTION(ita), APP_NAME_OPTION(spn),
    APP_NAME_OPTION(jpn), APP_NAME_OPTION(dan), APP_NAME_OPTION(nor), APP_NAME_OPTION(sve),
    APP_NAME_OPTION(nld), APP_NAME_OPTION(rus), APP_NAME_OPTION(plk), APP_NAME_OPTION(ptb),
    APP_NAME_OPTION(ptg), APP_NAME_OPTION(hun), APP_NAME_OPTION(trk), APP_NAME_OPTION(csy),
};
#undef APP_NAME_OPTION

void appApplyOptions(const Args& args, VURO_TARN_APP* pApp) {
    for (const AppNameOption& o : kAppNameOptions) {
        if (args.has(o.szOption)) pApp->*o.member = args.get(o.szOption);
    }
    struct TextOption {
        const char* szOption;
        int (*set)(VURO_TARN_APP*, const char*);
    };
    static const TextOption kTexts[] = {
        {"version", VUROTARNAppItemSetVersion},
        {"protocol", VUROTARNAppItemSetProtocol},
        {"url", VUROTARNAppItemSetUrl},
        {"window-param", VUROTARNAppItemSetWindowParam},
    };
    for (const TextOption& o : kTexts) {
        if (args.has(o.szOption)) o.set(pApp, args.get(o.szOption).c_str());
    }
    if (args.has("port")) {
        VUROTARNAppItemSetPort(pApp, (int)parseLongIn(args.get("port"), "--port", 1, 65535));
    }
    if (args.has("icon-mtime")) {
        VUROTARNAppItemSetIconMtime(
            pApp, (time_t)parseLongIn(args.get("icon-mtime"), "--icon-mtime", 0, LONG_MAX));
    }
    if (args.has("is-package")) {
        std::string v = args.get("is-package");
        if (v != "0" && v != "1") throw UsageError{"--is-package is 0 or 1, not '" + v + "'"};
        VUROTARNAppItemSetIsPackage(pApp, v == "1" ? TRUE : FALSE);
    }
    if (args.has("extra")) {
        VUROTARNAppItemSetExtraInfo(pApp, parseJsonText(args.get("extra"), "--extra").c_str());
    }
}

Json::Value appJson(const VURO_TARN_APP* pApp, const Args& args) {
    std::string lang = args.get("lang");
    Json::Value j;
    if (VUROTARNAppStructToJson(lang.empty() ? NULL : lang.c_str(), pApp, Json::Value(), j) != 0) {
        fail("cannot render an application as JSON");
    }
    return j;
}

/* The stored row of the peer's application, or a new record for it: "set"
 * changes only what its options name. */
void appStoredRead(const Args& args, VURO_TARN_APP* pApp) {
    long peer = (long)parseLongIn(args.get("peer"), "--peer", 0, LONG_MAX);
    nodeExistsCheck(peer, VURO_TARN_TYPE_PEER, "--peer");
    Args key;
    key.options["peer"] = std::to_string(peer);
    key.options["app-id"] = args.get("app-id");
    ListQuery query(key, {{"peer", "peer_id"}, {"app-id", "app_id"}});
    VURO_TARN_APP_LIST pList = NULL;
    if (VUROTARNAppList(query.hash(), &pList, NULL) != 0) fail("cannot read applications");
    if (pList != NULL) {
        *pApp = *pList;
        pApp->pNext = NULL;
    }
    VUROTARNAppListFree(&pList);
    VUROTARNAppItemSetPeerID(pApp, peer);
    VUROTARNAppItemSetAppID(pApp, args.get("app-id").c_str());
}

unsigned long long appId(const Args& args, const char* what) {
    if (args.positional.size() != 1) throw UsageError{std::string(what) + " takes one id"};
    return parseULongLong(args.positional[0], "id");
}

}  // namespace

int cmdApp(const std::string& verb, const Args& args) {
    VURO_TARN_APP app;
    if (verb == "set") {
        if (!args.has("peer") || !args.has("app-id")) {
            throw UsageError{"app set needs --peer and --app-id"};
        }
        appStoredRead(args, &app);
        appApplyOptions(args, &app);
        app.id = ~0ULL;  // a new record: the upsert finds the row by peer and app id
        if (VUROTARNAppSave(&app) != 0) fail("cannot store application " + args.get("app-id"));
    } else if (verb == "get") {
        unsigned long long id = appId(args, "app get");
        if (VUROTARNAppGet(id, &app) != 0 || !app.available) {
            failNotFound("no application with id " + std::to_string(id));
        }
    } else if (verb == "delete") {
        unsigned long long id = appId(args, "app delete");
        if (VUROTARNAppGet(id, &app) != 0 || !app.available) {
            failNotFound("no application with id " + std::to_string(id));
        }
        if (VUROTARNAppDelete(id) != 0) fail("cannot delete application " + std::to_string(id));
        Json::Value j;
        j["deleted"] = (Json::UInt64)id;
        printJson(j);
        return 0;
    } else if (verb == "list") {
        ListQuery query(args, {{"peer", "peer_id"}});
        VURO_TARN_APP_LIST pList = NULL;
        if (VUROTARNAppList(query.hash(), &pList, NULL) != 0) fail("cannot list applications");
        // The list runs against the query's order: print it back to front.
        Json::Value out(Json::arrayValue);
        for (const VURO_TARN_APP* p = pList; p != NULL; p = p->pNext) {
            out.insert(0, appJson(p, args));
        }
        VUROTARNAppListFree(&pList);
        printJson(out);
        return 0;
    } else {
        throw UsageError{"unknown app command '" + verb + "'"};
    }
    printJson(appJson(&app, args));
    return 0;
}

}  // namespace tarncli
