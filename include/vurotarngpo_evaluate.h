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

/* The effective policy of every peer under OU idOu at any depth, each
 * exactly what VUROTARNGpoGetEvaluate gives for it, into the array jPeers by
 * peer id: [{"peer_id":N,"sn":S,"parent_id":P,"effective":{...}}], with
 * "error" in place of "effective" for a peer whose policy cannot be
 * computed. The OUs of the subtree and of its path to the root, its peers
 * and each policy they link are read once. 0 or -1. */
VUROTARN_API int VUROTARNGpoGetEvaluateSubtree(long idOu, Json::Value& jPeers);
/* The same as if the changes in jChanges were made, writing nothing. Each
 * change is an object, applied in order:
 *   {"op":"link","ou"|"peer":N,"links":{"order":[{"gpo_id":G,"override":0|1}]}}
 *   {"op":"block","ou"|"peer":N,"value":0|1}
 *   {"op":"move","ou"|"peer":N,"parent":OU}
 *   {"op":"setting","gpo":G,"setting":{...}}
 * Peers a move takes out of the subtree are answered for too, marked
 * "moved_out". blExplain adds each peer's "explain" (as
 * VUROTARNGpoGetEvaluateExplain gives it). 0; -2 with the cause in strCause
 * for a change that cannot be made; -1 (and the cause) when rows cannot be
 * read. */
VUROTARN_API int VUROTARNGpoGetEvaluateSubtreeWhatIf(long idOu, const Json::Value& jChanges,
                                                     BOOL blExplain, Json::Value& jPeers,
                                                     std::string& strCause);

#endif
