/* cmd_join.cpp - "tarn join", "session create|delete|list|check",
 * "cache-push" and "notify-fetch": joining servers, the sessions they call
 * back with, and the two calls that go out to joined servers. Tokens are
 * shown shortened, never whole. */
#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <set>
#include <sstream>

#include "cli.h"
#include "vurocgi.h"
#include "vurojson.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

/* A JSON file of the caller's machine (not one below the system root). */
Json::Value jsonFileRead(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw UsageError{"cannot read " + path};
    std::stringstream text;
    text << in.rdbuf();
    Json::Value j;
    if (!vurojson::fromString(j, text.str())) throw UsageError{path + " is no JSON"};
    return j;
}

/* "join FLEET.json --server-host HOST": the stored records of the servers
 * that joined, and the serials of those that did not. */
int joinRun(const Args& args) {
    if (args.positional.size() != 1) throw UsageError{"join takes one fleet file"};
    if (!args.has("server-host")) throw UsageError{"join needs --server-host"};
    Json::Value jFleet = jsonFileRead(args.positional[0]);
    if (jFleet.isObject() && jFleet.isMember("servers")) jFleet = jFleet["servers"];
    if (!jFleet.isArray()) throw UsageError{"a fleet file holds an array of servers"};
    for (Json::ArrayIndex i = 0; i < jFleet.size(); i++) {
        if (!jFleet[i].isObject()) {
            throw UsageError{"fleet entry " + std::to_string(i) + " is no object"};
        }
        // The name is what the server tells when it confirms.
        jFleet[i].removeMember("hostname");
    }
    Json::Value jServer;
    jServer["host"] = args.get("server-host");
    int rc = VUROTARNPeerSendCreateServer(jFleet, jServer);

    Json::Value jOut;
    jOut["joined"] = Json::arrayValue;
    jOut["left_out"] = Json::arrayValue;
    for (const Json::Value& e : jFleet) {
        std::string sn = e["sn"].isString() ? e["sn"].asString() : "";
        VURO_TARN_PEER peer;
        // Joined now: the row holds the status and token this join wrote.
        if (!sn.empty() && VUROTARNPeerGetBySN(sn.c_str(), &peer) == 0 && peer.status == 9 &&
            e["access_token"].isString() && peer.str_sid == e["access_token"].asString()) {
            jOut["joined"].append(tokensShortened(recordJson(&peer)));
        } else {
            jOut["left_out"].append(sn);
        }
    }
    printJson(jOut);
    if (rc != 0) fail("the join stopped before the end of the list (-v shows why)");
    return 0;
}

/* The sessions of the store, as lines of JSON. */
std::vector<Json::Value> sessionLines() {
    std::vector<Json::Value> out;
    std::string path = VUROSysPathStr(VUROCGI_SESSION_FILE);
    if (path.empty()) fail("the session store lies outside the system root");
    std::ifstream in(path);
    if (!in) {
        if (errno == ENOENT) return out;
        fail("cannot read the session store " + path);
    }
    std::string line;
    while (std::getline(in, line)) {
        Json::Value j;
        if (vurojson::fromString(j, line) && j.isObject()) out.push_back(j);
    }
    return out;
}

int sessionRun(const std::string& verb, const Args& args) {
    Json::Value jOut;
    if (verb == "list") {
        if (!args.positional.empty()) throw UsageError{"session list takes no words"};
        jOut = Json::arrayValue;
        for (Json::Value j : sessionLines()) {
            j["id"] = tokenShort(j["id"].asString());
            Json::Value jExtra;
            if (j["extra"].isString() && vurojson::fromString(jExtra, j["extra"].asString()) &&
                jExtra.isObject() && jExtra["VURO.TARN"].isString()) {
                j["serial"] = jExtra["VURO.TARN"];
            }
            jOut.append(j);
        }
        printJson(jOut);
        return 0;
    }
    if (verb == "check") {
        if (args.positional.size() != 2) throw UsageError{"session check takes SID API"};
        std::string serial;
        bool allowed =
            VUROTARNPeerCheckWebapiPriviege(args.positional[0], args.positional[1], &serial);
        jOut["allowed"] = allowed;
        jOut["api"] = args.positional[1];
        jOut["serial"] = serial.empty() ? Json::Value() : Json::Value(serial);
        printJson(jOut);
        return 0;
    }
    if (args.positional.size() != 1 || args.positional[0].empty()) {
        throw UsageError{"session " + verb + " takes one serial"};
    }
    const std::string& serial = args.positional[0];
    jOut["serial"] = serial;
    if (verb == "create") {
        // A session is a credential: none for a server this one does not manage.
        VURO_TARN_PEER peer;
        if (VUROTARNPeerGetBySN(serial.c_str(), &peer) != 0) {
            failNotFound("no peer has the serial " + serial);
        }
        std::string token;
        if (!VUROTARNPeerCreateSessionBySn(serial, token)) {
            fail("cannot create a session for " + serial +
                 " (the session store cannot be written)");
        }
        jOut["token"] = tokenShort(token);
    } else if (verb == "delete") {
        if (!VUROTARNPeerDeleteSessionBySn(serial))
            failNotFound("no session of " + serial + " removed");
        jOut["deleted"] = true;
    } else {
        throw UsageError{"unknown session command '" + verb + "'"};
    }
    printJson(jOut);
    return 0;
}

/* The ids of "--ids 1,2,3". */
std::vector<long> idListParse(const std::string& text) {
    std::vector<long> ids;
    std::stringstream ss(text);
    std::string item;
    while (std::getline(ss, item, ','))
        ids.push_back((long)parseLongIn(item, "--ids", 0, LONG_MAX));
    if (ids.empty()) throw UsageError{"--ids needs at least one id"};
    return ids;
}

/* "cache-push --all|--ou ID|--ids 1,2": the answers, and where each peer's
 * status stands afterwards. */
int cachePushRun(const Args& args) {
    int chosen = args.flag("all") + args.has("ou") + args.has("ids");
    if (chosen != 1) throw UsageError{"cache-push takes one of --all, --ou ID, --ids 1,2"};
    VURO_TARN_PEER_LIST pList = NULL;
    if (args.flag("all")) {
        if (VUROTARNPeerListAll(&pList, NULL, NULL) != 0) fail("cannot list the peers");
    } else if (args.has("ou")) {
        long ou = (long)parseLongIn(args.get("ou"), "--ou", 0, LONG_MAX);
        nodeExistsCheck(ou, VURO_TARN_TYPE_OU, "--ou");
        // uid 0: the tool acts as the service, which sees every peer.
        if (VUROTARNPeerListUnderOU(0, ou, &pList) != 0) fail("cannot list the peers under the OU");
    } else {
        std::vector<long> ids = idListParse(args.get("ids"));
        // Pushed at the head: the list runs in the order given.
        for (auto it = ids.rbegin(); it != ids.rend(); ++it) {
            VURO_TARN_PEER* pPeer = VUROTARNPeerAlloc();
            if (pPeer == NULL) fail("out of memory");
            if (VUROTARNPeerGet(*it, pPeer) != 0) {
                VUROTARNPeerFree(pPeer);
                VUROTARNPeerListFree(&pList);
                failNotFound("no peer with id " + std::to_string(*it));
            }
            pPeer->pNext = pList;
            pList = pPeer;
        }
    }
    Json::Value jOut;
    jOut["answers"] = Json::arrayValue;
    jOut["peers"] = Json::arrayValue;
    if (pList != NULL && !VUROTARNPeerUpdateCache(pList, jOut["answers"])) {
        VUROTARNPeerListFree(&pList);
        fail("the cache push failed");
    }
    for (VURO_TARN_PEER* p = pList; p != NULL; p = p->pNext) {
        Json::Value j;
        j["id"] = (Json::Int64)p->id;
        j["sn"] = p->str_sn;
        j["status"] = (Json::Int64)p->status;
        j["status_by_server"] = (Json::Int64)p->status_by_server;
        jOut["peers"].append(j);
    }
    VUROTARNPeerListFree(&pList);
    printJson(jOut);
    return 0;
}

/* Children of this process that end within seconds; how many did, and in
 * *pRunning how many were still at work when the wait ran out. */
int childrenReap(long seconds, int* pRunning) {
    int ended = 0;
    time_t deadline = time(NULL) + seconds;
    for (;;) {
        int status = 0;
        pid_t pid = waitpid(-1, &status, WNOHANG);
        if (pid > 0) {
            ended++;
            continue;
        }
        if (pid < 0 || time(NULL) >= deadline) break;  // none left, or time is up
        usleep(10000);
    }
    // Those still running go on without us, as they were made to.
    *pRunning = 0;
    std::ifstream in("/proc/self/task/" + std::to_string(getpid()) + "/children");
    pid_t pid;
    while (in >> pid) (*pRunning)++;
    return ended;
}

/* "notify-fetch --uid N --peer ID|--ou ID [--wait SECONDS]" */
int notifyFetchRun(const Args& args) {
    if (!args.has("uid")) throw UsageError{"notify-fetch needs --uid"};
    if (args.has("peer") == args.has("ou")) {
        throw UsageError{"notify-fetch takes one of --peer ID, --ou ID"};
    }
    uid_t uid = (uid_t)parseLongIn(args.get("uid"), "--uid", 0, 0xFFFFFFFEll);
    long type = args.has("peer") ? VURO_TARN_TYPE_PEER : VURO_TARN_TYPE_OU;
    const char* szWhat = args.has("peer") ? "--peer" : "--ou";
    long id = (long)parseLongIn(args.get(args.has("peer") ? "peer" : "ou"), szWhat, 0, LONG_MAX);
    long wait = args.has("wait") ? (long)parseLongIn(args.get("wait"), "--wait", 0, 3600) : -1;
    nodeExistsCheck(id, type, szWhat);
    // Whatever stdio holds now would be written again by every child.
    fflush(stdout);
    fflush(stderr);
    if (VUROTARNGpoNotifyFetch(uid, type, id) != 0) {
        fail(std::string("the notice was refused (uid ") + std::to_string(uid) +
             " may not manage that node)");
    }
    Json::Value jOut;
    jOut["notified"] = true;
    if (wait >= 0) {
        int running = 0;
        jOut["children_ended"] = childrenReap(wait, &running);
        jOut["children_running"] = running;
    }
    printJson(jOut);
    return 0;
}

}  // namespace

int cmdJoin(const Args& args) { return joinRun(args); }
int cmdSession(const std::string& verb, const Args& args) { return sessionRun(verb, args); }
int cmdCachePush(const Args& args) { return cachePushRun(args); }
int cmdNotifyFetch(const Args& args) { return notifyFetchRun(args); }

}  // namespace tarncli
