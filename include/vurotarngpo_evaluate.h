/* vurotarngpo_evaluate.h - the effective policy of a node: each policy set
 * taken whole from the first policy in the node's order that has it. */
#ifndef VUROTARNGPO_EVALUATE_H
#define VUROTARNGPO_EVALUATE_H

#include <string>

#include "vurotarngpo.h"

/* Merges the effective policy of node id (type 1 peer, 2 OU) into the
 * object jGpo. szLinkOrder, when it holds text, is an order list (JSON
 * array of {"id":N}) used instead of the computed one. 0 or -1. */
VUROTARN_API int VUROTARNGpoGetEvaluate(long id, long type, Json::Value& jGpo, char* szLinkOrder);
/* The same into a fresh object, as text; indented for people when
 * blHumanReadGpo is set. */
VUROTARN_API int VUROTARNGpoGetEvaluateStr(long id, long type, std::string& szjGpoEvaluate,
                                           BOOL blHumanReadGpo, char* szLinkOrder);

/* Why the effective policy of a node is what it is: for each set the policy
 * that won it (its node, whether enforced) and every other policy that
 * carried the set, with the reason it lost ("later in the order", "cut off
 * by the block of ou N", ...), and the nodes whose link text is unreadable.
 * Computed by the same order walk and evaluation as the policy itself. */
VUROTARN_API int VUROTARNGpoGetEvaluateExplain(long id, long type, Json::Value& jExplain);

#endif
