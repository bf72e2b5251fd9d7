/* gpo_ext_int.h - what the order walk and the evaluation share inside the
 * policy engine, so that an explanation is computed by the same code. */
#ifndef GPO_EXT_INT_H
#define GPO_EXT_INT_H

#include <functional>
#include <string>

#include <json/json.h>

/* The order walk, noting in jPassedOver the links it leaves out (cut off by
 * a block, link text unreadable) instead of failing on the latter. */
int vurotarnGpoOrderExplained(long id, long type, Json::Value& jGpoLink, Json::Value& jPassedOver);

/* Called for each set a policy carries: taken, or left to an earlier one. */
using GpoSetObserver = std::function<void(const std::string& set, long gpoId, bool taken)>;

int EvaluateByPriorityList(Json::Value& jTargetGpo, const Json::Value& jApplyLink,
                           const GpoSetObserver* pObserver = nullptr);

#endif
