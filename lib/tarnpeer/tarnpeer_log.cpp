/* tarnpeer_log.cpp - the change-log row of a peer write. Status fields
 * change all the time as servers come and go; only what an administrator
 * changed is reported. */
#include "tarnlog/vurotarnlog_change_int.h"
#include "tarnpeer/vurotarnpeer_int.h"

namespace {

const VurotarnLogKey VUROTARNPEER_LOG_STRING_MAP[] = {
    {0, 0, "log", "peer_join"},         {0, 1, "log", "peer_edit"},
    {0, 2, "log", "peer_disjoin"},      {-1, 0, "log", "peer_join_failed"},
    {-1, 1, "log", "peer_edit_failed"}, {-1, 2, "log", "peer_disjoin_failed"},
};

bool isFieldKey(const std::string& key) {
    static const char* const kFields[] = {"desc", "sn",        "model",     "hostname",
                                          "host", "http_port", "https_port"};
    for (const char* f : kFields) {
        if (key == f) {
            return true;
        }
    }
    return false;
}

int changeText(VURO_TARN_PEER* pPeer1, VURO_TARN_PEER* pPeer2, std::string& text) {
    Json::Value j1, j2, jDiff;
    if (vurotarnLogRecordDiff(VUROTARNPeerStructToJson, pPeer1, pPeer2, "VURO_TARN_PEER", j1, j2,
                              jDiff) < 0) {
        return -1;
    }
    for (const Json::Value& e : jDiff) {
        std::string key = e["key"].asString();
        if (isFieldKey(key)) {
            vurotarnLogAppend(text, vurotarnLogFieldPiece(e));
        } else {
            vurotarnLogNodePiece(e, text);
        }
    }
    // The version is a status field in the loop, yet an upgrade is news.
    if (j1["version"] != j2["version"]) {
        vurotarnLogAppend(text, "{server:version}: " + vurotarnLogValueText(j1["version"]) +
                                    " -> " + vurotarnLogValueText(j2["version"]));
    }
    return 0;
}

}  // namespace

int VUROTARNPeerLog(int status_no, int action, VURO_TARN_PEER* pPeer1, VURO_TARN_PEER* pPeer2) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer1, return -1);
    // Most peer writes are status writes, which report nothing: that is
    // known before the parent's name is read for a row that never comes.
    std::string text;
    if (pPeer2 != NULL) {
        if (changeText(pPeer1, pPeer2, text) < 0) {
            return -1;
        }
        if (text.empty()) {
            return 0;
        }
    }
    VurotarnLogParams params;
    if (!params.ok()) {
        return -1;
    }
    params.push(VUROTARNPeerGetName(pPeer1));
    params.push(VUROTARNPeerGetParentName(pPeer1));
    if (pPeer2 != NULL) {
        params.push(text);
    }
    return vurotarnLogWriteKey(VUROTARNPEER_LOG_STRING_MAP, status_no, action, 0, 0,
                               VUROTARNPeerGetObjID(pPeer1), VUROTARNPeerGetParentObjID(pPeer1),
                               params, "VURO_TARN_PEER");
}
