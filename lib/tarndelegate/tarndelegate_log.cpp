/* tarndelegate_log.cpp - the change-log row of a delegate write: who was
 * given which node. An edit carries the whole diff, as delegates have no
 * fields an administrator types. */

#include "tarndelegate/vurotarndelegate_int.h"
#include "tarnlog/vurotarnlog_change_int.h"
#include "vurojson.h"

namespace {

// Told apart by the user type (user 8, group 9) and the target's (peer 1,
// OU 2).
const VurotarnLogKey VUROTARNDELEGATE_LOG_STRING_MAP[] = {
    {0, 0, "log", "delegate_create_by_user_under_ou", 8, 2},
    {0, 1, "log", "delegate_edit_by_user_under_ou", 8, 2},
    {0, 2, "log", "delegate_delete_by_user_under_ou", 8, 2},
    {0, 0, "log", "delegate_create_by_user_under_peer", 8, 1},
    {0, 1, "log", "delegate_edit_by_user_under_peer", 8, 1},
    {0, 2, "log", "delegate_delete_by_user_under_peer", 8, 1},
    {0, 0, "log", "delegate_create_by_group_under_ou", 9, 2},
    {0, 1, "log", "delegate_edit_by_group_under_ou", 9, 2},
    {0, 2, "log", "delegate_delete_by_group_under_ou", 9, 2},
    {0, 0, "log", "delegate_create_by_group_under_peer", 9, 1},
    {0, 1, "log", "delegate_edit_by_group_under_peer", 9, 1},
    {0, 2, "log", "delegate_delete_by_group_under_peer", 9, 1},
    {-1, 0, "log", "delegate_create_by_user_under_ou_faield", 8, 2},
    {-1, 1, "log", "delegate_edit_by_user_under_ou_faield", 8, 2},
    {-1, 2, "log", "delegate_delete_by_user_under_ou_faield", 8, 2},
    {-1, 0, "log", "delegate_create_by_user_under_peer_faield", 8, 1},
    {-1, 1, "log", "delegate_edit_by_user_under_peer_faield", 8, 1},
    {-1, 2, "log", "delegate_delete_by_user_under_peer_faield", 8, 1},
    {-1, 0, "log", "delegate_create_by_group_under_ou_faield", 9, 2},
    {-1, 1, "log", "delegate_edit_by_group_under_ou_faield", 9, 2},
    {-1, 2, "log", "delegate_delete_by_group_under_ou_faield", 9, 2},
    {-1, 0, "log", "delegate_create_by_group_under_peer_faield", 9, 1},
    {-1, 1, "log", "delegate_edit_by_group_under_peer_faield", 9, 1},
    {-1, 2, "log", "delegate_delete_by_group_under_peer_faield", 9, 1},
};

/* The name of one user or group entry, read and freed the platform's way. */
template <class Id, class Entry>
bool accountName(int (*get)(Id, Entry*), void (*release)(Entry), Id id, std::string& name) {
    Entry p = NULL;
    if (get(id, &p) < 0 || p == NULL) {
        return false;
    }
    name = p->szName;
    release(p);
    return true;
}

}  // namespace

bool vurotarnDelegateUgName(long user_type, unsigned long ugid, std::string& name) {
    if (user_type == VURO_TARN_TYPE_USER) {
        return accountName(VUROUserGetByUID, VUROUserFree, (uid_t)ugid, name);
    }
    return accountName(VUROGroupGetByGID, VUROGroupFree, (gid_t)ugid, name);
}

std::string VUROTARNDelegateGetUGName(VURO_TARN_DELEGATE* pDelegate) {
    VUROTARN_ARG_CHECK(NULL, !=, pDelegate, return "");
    std::string name;
    if (vurotarnDelegateUgName(pDelegate->user_type, pDelegate->ugid, name)) {
        return name;
    }
    if (pDelegate->user_type == VURO_TARN_TYPE_USER) {
        VUROTARN_LOG("Failed to get USER uid=[%lu],", pDelegate->ugid);
        // A deleted user is still named by the name kept when delegating.
        Json::Value jExtra;
        vurojson::fromString(jExtra, pDelegate->str_extra_info);
        if (jExtra.isObject() && jExtra.isMember("userNameCache")) {
            return vurotarnLogValueText(jExtra["userNameCache"]);
        }
        return "uid:" + std::to_string(pDelegate->ugid);
    }
    VUROTARN_LOG("Failed to get GROUP gid=[%lu],", pDelegate->ugid);
    return "<gid=" + std::to_string(pDelegate->ugid) + ">";
}

std::string VUROTARNDelegateGetTargetName(VURO_TARN_DELEGATE* pDelegate) {
    VUROTARN_ARG_CHECK(NULL, !=, pDelegate, return "");
    if (pDelegate->target_type == VURO_TARN_TYPE_OU) {
        return vurotarnLogOuName(pDelegate->target_id, "%s:%d Failed to get target OU id=[%ld],");
    }
    return vurotarnLogPeerName(pDelegate->target_id, "%s:%d Failed to get target PEER id=[%ld],");
}

int VUROTARNDelegateLog(int status_no, int action, VURO_TARN_DELEGATE* pDelegate1,
                        VURO_TARN_DELEGATE* pDelegate2) {
    VUROTARN_ARG_CHECK(NULL, !=, pDelegate1, return -1);
    VurotarnLogParams params;
    if (!params.ok()) {
        return -1;
    }
    params.push(VUROTARNDelegateGetUGName(pDelegate1));
    params.push(VUROTARNDelegateGetTargetName(pDelegate1));
    if (pDelegate2 != NULL) {
        Json::Value j1, j2, jDiff;
        if (vurotarnLogRecordDiff(VUROTARNDelegateStructToJson, pDelegate1, pDelegate2,
                                  "VURO_TARN_DELEGATE", j1, j2, jDiff) < 0) {
            return -1;
        }
        params.push(vurojson::toString(jDiff));
    }
    return vurotarnLogWriteKey(VUROTARNDELEGATE_LOG_STRING_MAP, status_no, action,
                               pDelegate1->user_type, pDelegate1->target_type,
                               "delegate_" + std::to_string(pDelegate1->id),
                               vurotarnLogNodeObjId(pDelegate1->target_type, pDelegate1->target_id),
                               params, "VURO_TARN_DELEGATE");
}
