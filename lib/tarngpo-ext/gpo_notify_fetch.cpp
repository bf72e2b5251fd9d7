/* gpo_notify_fetch.cpp - the fetch notice: asks one peer, or every peer
 * under an OU that the user sees, to come for its policy. The caller does
 * not wait: each remote call runs in a detached child that ends with
 * exit(0) on every way. Calls up into the views (tarnou-ext) and the remote
 * layer (tarnpeer-ext). */
#include <stdlib.h>
#include <syslog.h>
#include <unistd.h>

#include <vurojson.h>

#include "vurotarn_macro_util.h"
#include "vurotarn_uid.h"
#include "vurotarngpo_delegate.h"
#include "vurotarnpeer_webapi.h"

namespace {

/* In the child: the call, its failures logged, and the end. */
[[noreturn]] void fetchNoticeRun(long id, const Json::Value& jParam) {
    setsid();
    Json::Value jResp(Json::objectValue);
    if (VUROTARNPeerSendWebapiByID(id, jResp, "VURO.Core.TARN.Policy", 1, "fetch", jParam) < 0) {
        VUROTARN_LOG("Send webapi failed. VURO.Core.TARN.Policy[1][fetch] Param=[%s]",
                     vurojson::toString(jParam).c_str());
    } else if (!(jResp.isObject() && jResp["success"].isBool() && jResp["success"].asBool())) {
        VUROTARN_LOG("Send webapi failed. VURO.Core.TARN.Policy[1][fetch] Param=[%s] Resp=[%s]",
                     vurojson::toString(jParam).c_str(), vurojson::toString(jResp).c_str());
    }
    exit(0);
}

/* Forks the notice of one peer; the parent goes on whatever happened. */
void fetchNoticeFork(long id, const Json::Value& jParam, VURO_TARN_PEER_LIST* pListToDrop) {
    pid_t pid = QLIBCProcFork();
    if (pid < 0) {
        VUROTARN_LOG("Failed to fork to notify fetch. %m");
        return;
    }
    if (pid == 0) {
        // The child needs the id only; the list it inherited goes before
        // exit, so that a leak check at exit finds nothing.
        if (pListToDrop != NULL) VUROTARNPeerListFree(pListToDrop);
        fetchNoticeRun(id, jParam);
    }
}

}  // namespace

int VUROTARNGpoNotifyFetch(uid_t uid, long node_type, long node_id) {
    if (node_id < 0) {
        VUROTARN_LOG("node_id [%ld] is bad", node_id);
        return -1;
    }
    if (node_type != VURO_TARN_TYPE_PEER && node_type != VURO_TARN_TYPE_OU) {
        VUROTARN_LOG("node_type [%ld] is bad", node_type);
        return -1;
    }
    Json::Value jParam(Json::objectValue);
    jParam["action"] = "apply";
    if (node_type == VURO_TARN_TYPE_PEER) {
        if (!VUROTARNPeerIDCanManagedByUid(uid, node_id)) {
            VUROTARN_LOG(
                "No Permission for uid=[%u] to Send webapi to PEER[%ld] "
                "VURO.Core.TARN.Policy[1][fetch]",
                (unsigned)uid, node_id);
            return -1;
        }
        fetchNoticeFork(node_id, jParam, NULL);
        return 0;
    }
    // The list holds only the peers of the OU's subtree the user sees, so
    // no further right is tested.
    VURO_TARN_PEER_LIST pListPeer = NULL;
    VUROTARNPeerListUnderOU(uid, node_id, &pListPeer);
    for (VURO_TARN_PEER* pPeer = pListPeer; pPeer != NULL; pPeer = pPeer->pNext) {
        fetchNoticeFork(pPeer->id, jParam, &pListPeer);
    }
    VUROTARNPeerListFree(&pListPeer);
    return 0;
}
