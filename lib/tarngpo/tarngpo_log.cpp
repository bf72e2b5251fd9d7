/* tarngpo_log.cpp - the change-log row of a policy write: the key by result,
 * action and the kind of parent, and for an edit the fields that changed. */
#include "tarngpo/vurotarngpo_int.h"
#include "tarnlog/vurotarnlog_change_int.h"

namespace {

// Told apart by the kind of parent.
const VurotarnLogKey VUROTARNGPO_LOG_STRING_MAP[] = {
    {0, 0, "log", "gpo_create_under_ou", VURO_TARN_TYPE_OU},
    {0, 1, "log", "gpo_edit_under_ou", VURO_TARN_TYPE_OU},
    {0, 2, "log", "gpo_delete_under_ou", VURO_TARN_TYPE_OU},
    {-1, 0, "log", "gpo_create_under_ou_failed", VURO_TARN_TYPE_OU},
    {-1, 1, "log", "gpo_edit_under_ou_failed", VURO_TARN_TYPE_OU},
    {-1, 2, "log", "gpo_delete_under_ou_failed", VURO_TARN_TYPE_OU},
    {0, 0, "log", "gpo_create_under_peer", VURO_TARN_TYPE_PEER},
    {0, 1, "log", "gpo_edit_under_peer", VURO_TARN_TYPE_PEER},
    {0, 2, "log", "gpo_delete_under_peer", VURO_TARN_TYPE_PEER},
    {-1, 0, "log", "gpo_create_under_peer_failed", VURO_TARN_TYPE_PEER},
    {-1, 1, "log", "gpo_edit_under_peer_failed", VURO_TARN_TYPE_PEER},
    {-1, 2, "log", "gpo_delete_under_peer_failed", VURO_TARN_TYPE_PEER},
};

std::string place(const VURO_TARN_GPO* p) {
    return p->parent_type == VURO_TARN_TYPE_PEER ? VUROTARNLogFormat_PEERValue(p->parent_id)
                                                 : VUROTARNLogFormat_OUValue(p->parent_id);
}

/* The change text of an edit; -1 when the records cannot be compared. */
int changeText(VURO_TARN_GPO* pGpo1, VURO_TARN_GPO* pGpo2, std::string& text) {
    Json::Value j1, j2, jDiff;
    if (vurotarnLogRecordDiff(VUROTARNGpoStructToJson, pGpo1, pGpo2, "VURO_TARN_GPO", j1, j2,
                              jDiff) < 0) {
        return -1;
    }
    bool moved = false;
    for (const Json::Value& e : jDiff) {
        std::string key = e["key"].asString();
        if (key == "desc" || key == "name") {
            vurotarnLogAppend(text, vurotarnLogFieldPiece(e));
        } else if (key == "setting") {
            // Settings are large; the row says that they changed, not how.
            vurotarnLogAppend(text, "{log:setting}");
        } else if (key == "parent_type" || key == "parent_id") {
            moved = true;
        }
    }
    if (moved) {
        vurotarnLogAppend(text, "{log:location}: " + place(pGpo1) + " -> " + place(pGpo2));
    }
    return 0;
}

}  // namespace

int VUROTARNGpoLog(int status_no, int action, VURO_TARN_GPO* pGpo1, VURO_TARN_GPO* pGpo2) {
    VUROTARN_ARG_CHECK(NULL, !=, pGpo1, return -1);
    VurotarnLogParams params;
    if (!params.ok()) {
        return -1;
    }
    params.push(vurotarnLogNameOrId(pGpo1->str_name, pGpo1->id));
    if (pGpo1->parent_type == VURO_TARN_TYPE_OU) {
        params.push(vurotarnLogOuName(pGpo1->parent_id, "%s:%d Failed to get parent OU id=[%ld],"));
    } else {
        params.push(
            vurotarnLogPeerName(pGpo1->parent_id, "%s:%d Failed to get parent PEER id=[%ld],"));
    }
    int change = vurotarnLogChangeParam(params, pGpo1, pGpo2, changeText);
    if (change <= 0) {
        return change;  // 0: nothing a reader of the log would see changed
    }
    return vurotarnLogWriteKey(VUROTARNGPO_LOG_STRING_MAP, status_no, action, pGpo1->parent_type, 0,
                               "gpo_" + std::to_string(pGpo1->id),
                               vurotarnLogNodeObjId(pGpo1->parent_type, pGpo1->parent_id), params,
                               "VURO_TARN_GPO");
}
