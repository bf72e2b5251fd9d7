/* tarnou_log.cpp - the change-log row of an OU write. The root OU can only
 * be edited, and its rows have keys of their own without a parent. */
#include "tarnlog/vurotarnlog_change_int.h"
#include "tarnou/vurotarnou_int.h"

namespace {

const VurotarnLogKey VUROTARNOU_LOG_STRING_MAP[] = {
    {0, 0, "log", "ou_create"},       {0, 1, "log", "ou_edit"},
    {0, 2, "log", "ou_delete"},       {-1, 0, "log", "ou_create_failed"},
    {-1, 1, "log", "ou_edit_failed"}, {-1, 2, "log", "ou_delete_failed"},
};

/* The root has no parent to name: one parameter fewer. */
const VurotarnLogKey VUROTARNOU_ROOT_LOG_STRING_MAP[] = {
    {0, 1, "log", "ou_edit_simple"},
    {-1, 1, "log", "ou_edit_failed_simple"},
};

int changeText(VURO_TARN_OU* pOu1, VURO_TARN_OU* pOu2, std::string& text) {
    Json::Value j1, j2, jDiff;
    if (vurotarnLogRecordDiff(VUROTARNOuStructToJson, pOu1, pOu2, "VURO_TARN_OU", j1, j2, jDiff) <
        0) {
        return -1;
    }
    for (const Json::Value& e : jDiff) {
        std::string key = e["key"].asString();
        if (key == "desc" || key == "name") {
            vurotarnLogAppend(text, vurotarnLogFieldPiece(e));
        } else {
            vurotarnLogNodePiece(e, text);
        }
    }
    return 0;
}

}  // namespace

std::string VUROTARNOuGetObjID(VURO_TARN_OU* pOu) {
    VUROTARN_ARG_CHECK(NULL, !=, pOu, return std::string());
    return "ou_" + std::to_string(pOu->id);
}

int VUROTARNOuLog(int status_no, int action, VURO_TARN_OU* pOu1, VURO_TARN_OU* pOu2) {
    VUROTARN_ARG_CHECK(NULL, !=, pOu1, return -1);
    VurotarnLogParams params;
    if (!params.ok()) {
        return -1;
    }
    const bool root = pOu1->id == 0;
    params.push(root ? "{gpo_tree:root_ou}" : vurotarnLogNameOrId(pOu1->str_name, pOu1->id));
    if (!root) {
        params.push(vurotarnLogOuName(pOu1->parent_id, "%s:%d Failed to get parent OU id=[%ld],"));
    }
    int change = vurotarnLogChangeParam(params, pOu1, pOu2, changeText);
    if (change <= 0) {
        return change;  // 0: nothing a reader of the log would see changed
    }
    if (root) {
        if (action != VUROTARN_LOG_ACTION_SET) {
            VUROTARN_LOG("Can't create/delete ROOT. act=%d", action);
            return -1;
        }
        const VurotarnLogKey& m = VUROTARNOU_ROOT_LOG_STRING_MAP[status_no != 0 ? 1 : 0];
        return vurotarnLogWrite(status_no, VUROTARNOuGetObjID(pOu1), "", m.szSection, m.szKey,
                                params, "VURO_TARN_OU");
    }
    return vurotarnLogWriteKey(VUROTARNOU_LOG_STRING_MAP, status_no, action, 0, 0,
                               VUROTARNOuGetObjID(pOu1), "ou_" + std::to_string(pOu1->parent_id),
                               params, "VURO_TARN_OU");
}
