/* gpo_ext_int.h - what the order walk and the evaluation share inside the
 * policy engine, so that an explanation, the policy of one node and the
 * policies of a whole subtree are all computed by the same code. */
#ifndef GPO_EXT_INT_H
#define GPO_EXT_INT_H

#include <functional>
#include <string>

#include <json/json.h>

#include "vurotarn_tree.h"
#include "vurotarngpo.h"
#include "vurotarnou.h"
#include "vurotarnpeer.h"

/* Where the order walk and the evaluation read their rows: the database one
 * row a call (the form for one node), or rows read in bulk for a subtree and,
 * for a plan, changed in memory first. 0 when the row was read, -1 when not. */
class GpoRowSource {
public:
    virtual ~GpoRowSource() = default;
    /* The OU ids (as text) from node id of type 1 peer or 2 OU up to the
     * root, nearest first; below 0 on failure. */
    virtual int pathGet(long id, long type, PQLIBSZLIST pOuPath) = 0;
    virtual int ouGet(long id, VURO_TARN_OU* pOu) = 0;
    virtual int peerGet(long id, VURO_TARN_PEER* pPeer) = 0;
    virtual int gpoGet(long id, VURO_TARN_GPO* pGpo) = 0;
};

/* The database, read through the families one row a call. */
GpoRowSource& gpoRowsStored();

/* The order walk. When pPassedOver is given (an explanation) it notes there
 * the links it leaves out (cut off by a block, link text unreadable) instead
 * of failing on the latter. */
int gpoOrderWalk(GpoRowSource& rows, long id, long type, Json::Value& jGpoLink,
                 Json::Value* pPassedOver);

/* Called for each set a policy carries: taken, or left to an earlier one. */
using GpoSetObserver = std::function<void(const std::string& set, long gpoId, bool taken)>;

int EvaluateByPriorityList(GpoRowSource& rows, Json::Value& jTargetGpo,
                           const Json::Value& jApplyLink,
                           const GpoSetObserver* pObserver = nullptr);

/* The effective policy of a node (merged into jGpo) and its explanation. */
int gpoEvaluate(GpoRowSource& rows, long id, long type, Json::Value& jGpo);
int gpoExplain(GpoRowSource& rows, long id, long type, Json::Value& jExplain);

#endif
