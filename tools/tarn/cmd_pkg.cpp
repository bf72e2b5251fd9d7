/* cmd_pkg.cpp - "tarn pkg set|get|get-by|list|delete|log" over the package
 * records of managed servers, and "tarn pkg-clean", which trims the package
 * file store and tells what is left in it. */
#include <dirent.h>
#include <limits.h>
#include <sys/stat.h>

#include <string>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

Json::Value pkgJson(const VURO_TARN_PKG* p, const Args& args) {
    std::string lang = args.get("lang");
    Json::Value j;
    if (VUROTARNPkgStructToJson(lang.empty() ? NULL : lang.c_str(), p, Json::Value(), j) != 0) {
        fail("cannot render a package as JSON");
    }
    return j;
}

unsigned long long pkgId(const Args& args, const char* what) {
    if (args.positional.size() != 1) throw UsageError{std::string(what) + " takes one id"};
    return parseULongLong(args.positional[0], "id");
}

/* The row of --peer and --pkg-id; failure when there is none. */
void pkgGetBy(const Args& args, VURO_TARN_PKG* pPkg) {
    if (!args.has("peer") || !args.has("pkg-id")) throw UsageError{"needs --peer and --pkg-id"};
    unsigned long long peer = parseULongLong(args.get("peer"), "--peer");
    if (VUROTARNPkgGetBy(peer, args.get("pkg-id").c_str(), pPkg) != 0 || !pPkg->available) {
        failNotFound("no package " + args.get("pkg-id") + " on peer " + args.get("peer"));
    }
}

void pkgApplyOptions(const Args& args, VURO_TARN_PKG* pPkg) {
    for (const VURO_TARN_PKG_NAME_FIELD* f = gVUROTARNPkgNameFields; f->szLang != NULL; f++) {
        std::string option = std::string("name-") + f->szLang;
        if (args.has(option)) pPkg->*f->member = args.get(option);
    }
    if (args.has("version")) pPkg->str_pkg_version = args.get("version");
    if (args.has("new-version")) pPkg->str_pkg_new_version = args.get("new-version");
    if (args.has("status")) {
        pPkg->pkg_status = (unsigned int)parseLongIn(args.get("status"), "--status", 0, UINT_MAX);
    }
    if (args.has("install-status")) {
        pPkg->pkg_install_status =
            (unsigned int)parseLongIn(args.get("install-status"), "--install-status", 0, UINT_MAX);
    }
    if (args.has("beta")) pPkg->beta = parseLongIn(args.get("beta"), "--beta", 0, 1) != 0;
    if (args.has("extra")) pPkg->str_extra_info = parseJsonText(args.get("extra"), "--extra");
}

/* "set": the stored row (if any) with the options on top, through the
 * upsert, so options not given keep their stored values. */
int pkgSet(const Args& args) {
    if (!args.has("peer") || !args.has("pkg-id"))
        throw UsageError{"pkg set needs --peer and --pkg-id"};
    long peer = (long)parseLongIn(args.get("peer"), "--peer", 0, LONG_MAX);
    // A row without its server could be written, but never read back.
    nodeExistsCheck(peer, VURO_TARN_TYPE_PEER, "--peer");
    VURO_TARN_PKG pkg;
    if (VUROTARNPkgGetBy(peer, args.get("pkg-id").c_str(), &pkg) != 0) fail("cannot read packages");
    VUROTARNPkgItemSetPeerID(&pkg, peer);
    VUROTARNPkgItemSetPkgID(&pkg, args.get("pkg-id").c_str());
    pkgApplyOptions(args, &pkg);
    pkg.id = ~0ULL;
    if (VUROTARNPkgCreate(&pkg) != 0) fail("cannot store package " + args.get("pkg-id"));
    VURO_TARN_PKG stored;
    pkgGetBy(args, &stored);
    printJson(pkgJson(&stored, args));
    return 0;
}

int pkgList(const Args& args) {
    ListQuery query(args, {{"peer", "peer_id"}});
    // Both tables of the join have an id and an mtime: the order names the
    // package's column.
    std::string column = args.get("sort-by", "id");
    if (column.empty() || column.find_first_not_of("abcdefghijklmnopqrstuvwxyz_") != column.npos) {
        throw UsageError{"--sort-by takes a column of the package table"};
    }
    QLIBCSzHashRemoveKey(query.hash(), "sort_by");
    QLIBCSzHashSetValue(query.hashRef(), "sort_by_no_escape", ("package." + column).c_str());
    VURO_TARN_PKG_LIST pList = NULL;
    if (VUROTARNPkgList(query.hash(), &pList, NULL) != 0) fail("cannot list packages");
    // The list runs against the query's order.
    Json::Value j(Json::arrayValue);
    for (const VURO_TARN_PKG* p = pList; p != NULL; p = p->pNext) {
        j.insert(0, pkgJson(p, args));
    }
    VUROTARNPkgListFree(&pList);
    printJson(j);
    return 0;
}

int pkgLog(const Args& args) {
    if (!args.has("key")) throw UsageError{"pkg log needs --key"};
    VURO_TARN_PKG pkg;
    pkgGetBy(args, &pkg);
    VURO_TARN_PEER peer;
    if (VUROTARNPeerGet(pkg.peer.id, &peer) != 0)
        failNotFound("no peer with id " + args.get("peer"));
    int level = (int)parseLongIn(args.get("level", "6"), "--level", 0, 7);
    std::string lang = args.get("lang");
    if (VUROTARNPkgLog(level, "log", args.get("key").c_str(), &peer, &pkg,
                       lang.empty() ? NULL : lang.c_str()) != 0) {
        fail("cannot log for package " + args.get("pkg-id"));
    }
    Json::Value j;
    j["logged"] = args.get("key");
    j["obj_id"] = VUROTARNPeerGetObjID(&peer);
    printJson(j);
    return 0;
}

/* Subdirectories (depth 1) or regular files (depth 2) below dir. */
Json::Value::UInt storeCount(const std::string& dir, int depth, unsigned char leafType) {
    Json::Value::UInt n = 0;
    DIR* d = opendir(dir.c_str());
    if (d == NULL) return 0;
    for (struct dirent* e = readdir(d); e != NULL; e = readdir(d)) {
        std::string name = e->d_name;
        if (name == "." || name == "..") continue;
        std::string path = dir + "/" + name;
        struct stat st;
        if (lstat(path.c_str(), &st) != 0) continue;
        if (depth > 1) {
            if (S_ISDIR(st.st_mode)) n += storeCount(path, depth - 1, leafType);
        } else if (leafType == DT_DIR ? S_ISDIR(st.st_mode) : S_ISREG(st.st_mode)) {
            n++;
        }
    }
    closedir(d);
    return n;
}

}  // namespace

int cmdPkg(const std::string& verb, const Args& args) {
    VURO_TARN_PKG pkg;
    if (verb == "set") {
        return pkgSet(args);
    } else if (verb == "get") {
        unsigned long long id = pkgId(args, "pkg get");
        if (VUROTARNPkgGet(id, &pkg) != 0 || !pkg.available) {
            failNotFound("no package with id " + std::to_string(id));
        }
    } else if (verb == "get-by") {
        pkgGetBy(args, &pkg);
    } else if (verb == "list") {
        return pkgList(args);
    } else if (verb == "delete") {
        unsigned long long id = pkgId(args, "pkg delete");
        if (VUROTARNPkgGet(id, &pkg) != 0 || !pkg.available) {
            failNotFound("no package with id " + std::to_string(id));
        }
        if (VUROTARNPkgDelete(id) != 0) fail("cannot delete package " + std::to_string(id));
        Json::Value j;
        j["deleted"] = (Json::UInt64)id;
        printJson(j);
        return 0;
    } else if (verb == "log") {
        return pkgLog(args);
    } else {
        throw UsageError{"unknown pkg command '" + verb + "'"};
    }
    printJson(pkgJson(&pkg, args));
    return 0;
}

int cmdPkgClean(const Args& args) {
    (void)args;
    VUROTARNPkgClean();
    std::string base;
    if (!VUROTARNPkgTmpDirGet(base)) fail("no package store: no data volume with room");
    std::string real = VUROSysPathStr(base);
    Json::Value j;
    j["store"] = base;
    j["models"] = storeCount(real + "/peer", 1, DT_DIR);
    j["builds"] = storeCount(real + "/peer", 2, DT_DIR);
    j["pool_files"] = storeCount(real + "/bdl", 2, DT_REG);
    printJson(j);
    return 0;
}

}  // namespace tarncli
