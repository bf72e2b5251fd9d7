/* vurowebapi - the handlers of this server's local web APIs, run by the API
 * runner as "vurowebapi API VERSION METHOD USER PARAMS". Dynamic DNS records
 * and relay settings come from files under the system root; a ServerInfo
 * update is judged by the simulator's handler and kept in managed.json.
 * The answer is one JSON line on stdout; the exit status is 0 when one was
 * written, 2 for bad arguments. */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "sim_update.h"
#include "vurocore.h"
#include "vurofs.h"
#include "vurojson.h"

using peersim::failure;
using peersim::success;

namespace {

const char kDdnsFile[] = "/etc/vuro/ddns.json";
const char kRelayFile[] = "/etc/vuro/relay.json";
const char kManagedFile[] = "/var/vuro/tarn/managed.json";

const int kCodeBadRequest = 101;
const int kCodeNoApi = 102;
const int kCodeNoMethod = 103;
const int kCodeBadVersion = 104;
const int kCodeNoPermission = 105;
const int kCodeStore = 117;

/* A settings file as an object; a missing file is an empty one, a broken
 * one is null. */
Json::Value settingsRead(const char* path) {
    if (access(VUROSysPathStr(path).c_str(), F_OK) != 0) return Json::Value(Json::objectValue);
    Json::Value v;
    return vurojson::fromFile(v, path) && v.isObject() ? v : Json::Value();
}

Json::Value ddnsList() {
    Json::Value file = settingsRead(kDdnsFile);
    if (file.isNull()) return failure(kCodeStore);
    Json::Value data;
    data["records"] = file["records"].isArray() ? file["records"] : Json::Value(Json::arrayValue);
    return success(data);
}

Json::Value relayPermission() {
    Json::Value file = settingsRead(kRelayFile);
    if (file.isNull()) return failure(kCodeStore);
    Json::Value data;
    const Json::Value& services = file["permission"]["services"];
    data["services"] = services.isArray() ? services : Json::Value(Json::arrayValue);
    return success(data);
}

Json::Value relaySettings() {
    Json::Value file = settingsRead(kRelayFile);
    if (file.isNull()) return failure(kCodeStore);
    const Json::Value& s = file["settings"];
    Json::Value data;
    data["enabled"] = s["enabled"].isBool() && s["enabled"].asBool();
    for (const char* key : {"server_alias", "region", "domain"}) {
        data[key] = s[key].isString() ? s[key].asString() : "";
    }
    return success(data);
}

/* Written whole to a temporary file and renamed, so a reader never sees
 * half an update. */
bool managedWrite(const Json::Value& kept, const std::string& user) {
    std::string sysDir(kManagedFile);
    sysDir.erase(sysDir.rfind('/'));
    if (VUROFSMkdirP(sysDir.c_str(), NULL, TRUE, UID_ERR, GID_ERR, 0755) != 0) return false;
    std::string path = VUROSysPathStr(kManagedFile);
    if (path.empty()) return false;
    Json::Value doc;
    doc["conn_info"] = kept;
    doc["user"] = user;
    doc["updated"] = (Json::Int64)time(NULL);
    std::string tmp = path + ".tmp." + std::to_string(getpid());
    FILE* f = fopen(tmp.c_str(), "w");
    if (f == NULL) return false;
    std::string text = vurojson::toString(doc) + "\n";
    bool ok = fwrite(text.data(), 1, text.size(), f) == text.size();
    ok = fclose(f) == 0 && ok;
    if (!ok || rename(tmp.c_str(), path.c_str()) != 0) {
        unlink(tmp.c_str());
        return false;
    }
    return true;
}

Json::Value serverInfo(const Json::Value& params, const std::string& user) {
    if (user != "admin") return failure(kCodeNoPermission);
    Json::Value kept;
    Json::Value answer = peersim::serverInfoUpdate(params, &kept);
    if (answer["success"].asBool() && !managedWrite(kept, user)) return failure(kCodeStore);
    return answer;
}

struct Api {
    const char* name;
    const char* method;
};
const Api kApis[] = {
    {"VURO.Core.DDNS.Record", "list"},
    {"VURO.Core.RelayPath.Permission", "get"},
    {"VURO.Core.RelayPath", "get"},
    {"VURO.Core.TARN.ServerInfo", "update"},
};

Json::Value answerFor(const std::string& api, const std::string& version, const std::string& method,
                      const std::string& user, const Json::Value& params) {
    const Api* found = nullptr;
    for (const Api& a : kApis) {
        if (api == a.name) found = &a;
    }
    if (found == nullptr) return failure(kCodeNoApi);
    if (version != "1") return failure(kCodeBadVersion);
    if (method != found->method) return failure(kCodeNoMethod);
    if (api == "VURO.Core.DDNS.Record") return ddnsList();
    if (api == "VURO.Core.RelayPath.Permission") return relayPermission();
    if (api == "VURO.Core.RelayPath") return relaySettings();
    return serverInfo(params, user);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        fputs("usage: vurowebapi API VERSION METHOD USER PARAMS\n", stderr);
        return 2;
    }
    Json::Value params;
    Json::Value answer;
    if (!vurojson::fromString(params, argv[5])) {
        answer = failure(kCodeBadRequest);
    } else {
        answer = answerFor(argv[1], argv[2], argv[3], argv[4], params);
    }
    std::string text = vurojson::toString(answer) + "\n";
    return fwrite(text.data(), 1, text.size(), stdout) == text.size() ? 0 : 1;
}
