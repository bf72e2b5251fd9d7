/* tarnlog_format.cpp - common values turned into message parameters:
 * references for the string files where a word is language-bound, names
 * read from the records where it is not. Those reads call up into the OU,
 * peer and policy families; they sit with the log, beside the writers that
 * use them, so that no family reads another. */
#include <string.h>

#include <string>

#include "common/vurotarn_json_int.h"
#include "tarnlog/vurotarnlog_int.h"
#include "vurotarn_macro_util.h"

std::string VUROTARNLogFormat_StatusValue(int iStatus) {
    static const char* const kStatus[] = {
        "{server:status_unknown}",       "{server:status_offline}",
        "{server:status_ready}",         "{server:status_offline}",
        "{server:status_kelp_updating}", "{server:status_system_lost}",
        "{server:status_booting}",       NULL,
        "{server:status_booting}",       "{server:status_updating}",
        "{server:status_offline}",       "{server:status_joining}",
        "{server:status_disjoining}",    "{server:status_rebooting}",
        "{server:status_shutdowning}",   "{server:status_cant_connect}",
        "{server:status_hibernation}",
    };
    if (iStatus >= 0 && iStatus < (int)(sizeof(kStatus) / sizeof(kStatus[0])) &&
        kStatus[iStatus] != NULL) {
        return kStatus[iStatus];
    }
    return std::to_string(iStatus);
}

std::string VUROTARNLogFormat_CheckValue(int iEnable) {
    return iEnable != 0 ? "{log:enable}" : "{log:disable}";
}

namespace {

/* A node's name as a row shows it; empty, and a log line, when the node
 * cannot be read. */
template <class Rec>
std::string nodeName(int (*get)(long, Rec*), long id, std::string Rec::*member,
                     const char* szWord) {
    Rec rec;
    if (get(id, &rec) < 0) {
        VUROTARN_LOG("Failed to get %s id=[%ld]", szWord, id);
        return std::string();
    }
    return rec.*member;
}

}  // namespace

std::string VUROTARNLogFormat_OUValue(long int ID) {
    return nodeName(VUROTARNOuGet, ID, &VURO_TARN_OU::str_name, "OU");
}

std::string VUROTARNLogFormat_PEERValue(long int ID) {
    return nodeName(VUROTARNPeerGet, ID, &VURO_TARN_PEER::str_hostname, "PEER");
}

std::string VUROTARNLogFormat_LinkedGPOValue(const Json::Value& jLinkedGPO) {
    std::string names;
    if (!jLinkedGPO.isObject() || !jLinkedGPO.isMember("order") || !jLinkedGPO["order"].isArray()) {
        return names;
    }
    for (const Json::Value& link : jLinkedGPO["order"]) {
        if (!link.isObject() || !link.isMember("id")) {
            continue;
        }
        // A number beyond 64 bits is integral too; the lenient reader keeps
        // it from throwing through the write that logs it.
        long id = link["id"].isNumeric() || link["id"].isBool()
                      ? (long)vurotarnJsonInt64(link["id"])
                      : -1;
        VURO_TARN_GPO gpo;
        std::string name;
        if (id >= 0 && VUROTARNGpoGet(id, &gpo) == 0) {
            name = gpo.str_name;
        }
        if (!names.empty()) {
            names += ", ";
        }
        names += name;
    }
    return names;
}

std::string VUROTARNLogFormat_UptimeValue(int iUptime) {
    char szBuf[16];
    snprintf(szBuf, sizeof(szBuf), "%02d:%02d:%02d", iUptime / 3600, iUptime / 60 % 60,
             iUptime % 60);
    return szBuf;
}
