/* tarnlog_change.cpp - shared steps of the change-log writers. It calls up
 * into the OU and peer families for the names a row shows; it sits with the
 * log because only rows need those names, and each family's writer
 * (*_log.cpp) calls down into it, so that no family reads another. */
#include "tarnlog/vurotarnlog_change_int.h"

#include <syslog.h>

#include "vurojson.h"
#include "vurotarn_common.h"
#include "vurotarn_error.h"
#include "vurotarn_macro_util.h"

VurotarnLogParams::VurotarnLogParams() : VurotarnSzList(1024) {
    if (!ok()) {
        VUROTARN_LOG("Failed to allocate list");
    }
}

std::string vurotarnLogNameOrId(const std::string& name, long id) {
    return name.empty() ? "<id=" + std::to_string(id) + ">" : name;
}

std::string vurotarnLogOuName(long ouId, const char* szFailFmt) {
    if (ouId == 0) {
        return "{gpo_tree:root_ou}";
    }
    VURO_TARN_OU ou;
    if (VUROTARNOuGet(ouId, &ou) < 0) {
        syslog(LOG_ERR, szFailFmt, __FILE__, __LINE__, ouId);
        return std::string();
    }
    return vurotarnLogNameOrId(ou.str_name, ou.id);
}

std::string vurotarnLogPeerName(long peerId, const char* szFailFmt) {
    VURO_TARN_PEER peer;
    if (VUROTARNPeerGet(peerId, &peer) < 0) {
        syslog(LOG_ERR, szFailFmt, __FILE__, __LINE__, peerId);
        return std::string();
    }
    return vurotarnLogNameOrId(peer.str_hostname, peer.id);
}

std::string vurotarnLogValueText(const Json::Value& v) {
    if (v.isString()) {
        return v.asString();
    }
    if (v.isNull()) {
        return std::string();
    }
    if (v.isIntegral() || v.isDouble() || v.isBool()) {
        return v.asString();
    }
    return vurojson::toString(v);
}

std::string vurotarnLogFieldPiece(const Json::Value& element) {
    return "{log:" + element["key"].asString() +
           "}: " + vurotarnLogValueText(element["old_value"]) + " -> " +
           vurotarnLogValueText(element["new_value"]);
}

void vurotarnLogAppend(std::string& text, const std::string& piece) {
    if (!text.empty()) {
        text += ", ";
    }
    text += piece;
}

int vurotarnLogDiff(const Json::Value& j1, const Json::Value& j2, Json::Value& jDiff) {
    jDiff = Json::Value(Json::arrayValue);
    return VUROTARNJsonDiff(j1, j2, jDiff);
}

bool vurotarnLogNodePiece(const Json::Value& element, std::string& text) {
    std::string key = element["key"].asString();
    const Json::Value& o = element["old_value"];
    const Json::Value& n = element["new_value"];
    if (key == "parent_id") {
        vurotarnLogAppend(text, "{log:location}: " + VUROTARNLogFormat_OUValue((long)o.asInt64()) +
                                    " -> " + VUROTARNLogFormat_OUValue((long)n.asInt64()));
    } else if (key == "block_inheritance") {
        vurotarnLogAppend(text, "{gpo_tree:chk_block_inheritance}: " +
                                    VUROTARNLogFormat_CheckValue(o.asInt64() != 0) + " -> " +
                                    VUROTARNLogFormat_CheckValue(n.asInt64() != 0));
    } else if (key == "linked_gpo") {
        vurotarnLogAppend(text,
                          "{gpo_tree:chk_gpo_link_parent}: " + VUROTARNLogFormat_LinkedGPOValue(o) +
                              " -> " + VUROTARNLogFormat_LinkedGPOValue(n));
    } else {
        return false;
    }
    return true;
}

int vurotarnLogWrite(int status_no, const std::string& objId, const std::string& parentObjId,
                     const char* szSection, const char* szKey, const VurotarnLogParams& params,
                     const char* szWord) {
    int level = status_no != 0 ? LOG_ERR : LOG_INFO;
    if (VUROTARNLog(level, objId.c_str(), parentObjId.c_str(), szSection, szKey, params.get(),
                    NULL) != 0) {
        VUROTARN_LOG("Failed to log %s [%s]:[%s]", szWord, szSection, szKey);
        // The write itself stands; the store tells its caller the row is missing.
        if (VUROTARNErrGet() == 0) {
            VUROTARNErrSet(VUROTARN_ERR_LOG_CREATE);
        }
        return -1;
    }
    return 0;
}

const VurotarnLogKey* vurotarnLogKeyFind(const VurotarnLogKey* rows, size_t cRows, int status_no,
                                         int action, long kind1, long kind2, const char* szWord) {
    for (size_t i = 0; i < cRows; i++) {
        const VurotarnLogKey& m = rows[i];
        if (m.status_no == status_no && m.action == action && m.kind1 == kind1 &&
            m.kind2 == kind2) {
            return &m;
        }
    }
    VUROTARN_LOG("Failed to find proper log string of %s for status=[%d], action=[%d]", szWord,
                 status_no, action);
    return NULL;
}
