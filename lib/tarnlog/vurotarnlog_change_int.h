/* vurotarnlog_change_int.h - the pieces the change-log writers of the
 * record families share: the parameter list, names of tree nodes, the
 * comparison of two records and the final write. */
#ifndef VUROTARNLOG_CHANGE_INT_H
#define VUROTARNLOG_CHANGE_INT_H

#include <json/json.h>
#include <syslog.h>

#include <string>

#include "common/vurotarn_holder_int.h"
#include "vurotarnlog.h"

/* The message parameters, the frame's string list; a list that could not
 * be allocated is logged once ("Failed to allocate list") and reads as not
 * ok. */
class VurotarnLogParams : public VurotarnSzList {
public:
    VurotarnLogParams();
    bool ok() const { return get() != NULL; }
};

/* The name itself, or "<id=N>" when it is empty. */
std::string vurotarnLogNameOrId(const std::string& name, long id);

/* The display name of OU ouId: the root reference for 0, else its name or
 * "<id=N>". When it cannot be read, szFailFmt ("... id=[%ld],") is logged
 * and the name is empty. */
std::string vurotarnLogOuName(long ouId, const char* szFailFmt);
/* The same for a peer: its host name or "<id=N>". */
std::string vurotarnLogPeerName(long peerId, const char* szFailFmt);

/* A JSON member as message text: strings as they are, numbers in decimal,
 * anything else as compact JSON. */
std::string vurotarnLogValueText(const Json::Value& v);

/* "{log:<key>}: old -> new" of one diff element. */
std::string vurotarnLogFieldPiece(const Json::Value& element);

/* Appends piece behind text with ", " between. */
void vurotarnLogAppend(std::string& text, const std::string& piece);

/* The one-level diff of two family JSON objects (VUROTARNJsonDiff); the
 * empty array when they agree. 0 or -1. */
int vurotarnLogDiff(const Json::Value& j1, const Json::Value& j2, Json::Value& jDiff);

/* Both records in their family's JSON form (every key), and their diff.
 * Failures are logged in the family's words; 0 or -1. */
template <class Rec>
int vurotarnLogRecordDiff(int (*toJson)(const Rec*, const Json::Value&, Json::Value&),
                          const Rec* p1, const Rec* p2, const char* szWord, Json::Value& j1,
                          Json::Value& j2, Json::Value& jDiff) {
    if (toJson(p1, Json::Value(), j1) < 0 || toJson(p2, Json::Value(), j2) < 0) {
        syslog(LOG_ERR, "%s:%d Failed to convert %s to json", __FILE__, __LINE__, szWord);
        return -1;
    }
    if (vurotarnLogDiff(j1, j2, jDiff) < 0) {
        syslog(LOG_ERR, "%s:%d Failed to diff two json object.", __FILE__, __LINE__);
        return -1;
    }
    return 0;
}

/* For an edit (p2 given), the change text of changeText(p1, p2, text) as
 * the last parameter: 1 when pushed, 0 when nothing a reader of the log
 * would see changed (no row then), -1 when the records can't be compared.
 * Without p2 there is nothing to add: 1. */
template <class Rec, class Fn>
int vurotarnLogChangeParam(VurotarnLogParams& params, Rec* p1, Rec* p2, Fn changeText) {
    if (p2 == NULL) {
        return 1;
    }
    std::string text;
    if (changeText(p1, p2, text) < 0) {
        return -1;
    }
    if (text.empty()) {
        return 0;
    }
    params.push(text);
    return 1;
}

/* The pieces OUs and peers share: their place in the tree, block
 * inheritance and the linked policies. False when the element's key is
 * none of these. */
bool vurotarnLogNodePiece(const Json::Value& element, std::string& text);

/* The last step of every writer: the row through VUROTARNLog, at level 3
 * for a failed write and 6 otherwise. szWord names the record type in the
 * failure message. 0 or -1. */
int vurotarnLogWrite(int status_no, const std::string& objId, const std::string& parentObjId,
                     const char* szSection, const char* szKey, const VurotarnLogParams& params,
                     const char* szWord);

/* The object id of a node a row hangs under: "ou_<id>" for an OU,
 * "peer_<id>" for anything else. */
inline std::string vurotarnLogNodeObjId(long nodeType, long id) {
    return (nodeType == VURO_TARN_TYPE_OU ? "ou_" : "peer_") + std::to_string(id);
}

/* One row of a writer's key table: the result (0 or -1), the action, the
 * message key, and up to two kinds the family tells its rows apart by
 * (parent or target type, user type; 0 where it has none). */
struct VurotarnLogKey {
    int status_no;
    int action;
    const char* szSection;
    const char* szKey;
    long kind1 = 0;
    long kind2 = 0;
};

/* The row of the table that fits one write, or NULL with a log line that
 * names szWord when none does. */
const VurotarnLogKey* vurotarnLogKeyFind(const VurotarnLogKey* rows, size_t cRows, int status_no,
                                         int action, long kind1, long kind2, const char* szWord);
template <size_t N>
const VurotarnLogKey* vurotarnLogKeyFind(const VurotarnLogKey (&rows)[N], int status_no, int action,
                                         long kind1, long kind2, const char* szWord) {
    return vurotarnLogKeyFind(rows, N, status_no, action, kind1, kind2, szWord);
}

/* The row of the table that fits, written; -1 when none fits or the write
 * fails. */
template <size_t N>
int vurotarnLogWriteKey(const VurotarnLogKey (&rows)[N], int status_no, int action, long kind1,
                        long kind2, const std::string& objId, const std::string& parentObjId,
                        const VurotarnLogParams& params, const char* szWord) {
    const VurotarnLogKey* row = vurotarnLogKeyFind(rows, status_no, action, kind1, kind2, szWord);
    if (row == NULL) {
        return -1;
    }
    return vurotarnLogWrite(status_no, objId, parentObjId, row->szSection, row->szKey, params,
                            szWord);
}

#endif
