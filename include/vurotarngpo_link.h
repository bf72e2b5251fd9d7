/* vurotarngpo_link.h - policy links: the link text of OUs and peers, the
 * ordered list of policies that apply to a node, the nodes that link a
 * policy, and who may manage a policy. */
#ifndef VUROTARNGPO_LINK_H
#define VUROTARNGPO_LINK_H

#include <sys/types.h>

#include <string>

#include "vurotarngpo.h"
#include "vurotarnou.h"
#include "vurotarnpeer.h"

/* Appends to the array jGpoLink the policies of node idInput (type 1 peer,
 * 2 OU), most important first: enforced links from the root down, the
 * peer's own, then plain links from the node up to the first block. */
VUROTARN_API int VUROTARNGpoGetOrder(long idInput, long type, Json::Value& jGpoLink);
VUROTARN_API int VUROTARNGpoGetOrderStr(long id, long type, std::string& szJsonGpoLink);
/* szGpoLinkOld without policy idGpo, into szGpoLinkNew (cut to fit). */
VUROTARN_API int VUROTARNGpoDeleteGpoLinkById(long idGpo, const char* szGpoLinkOld,
                                              char* szGpoLinkNew, size_t nGpoLinkNew);
/* data["linked_gpo"] in the stored form of a request's link list. */
VUROTARN_API void VUROTARNHttpReqToJsonForLinkedGpo(const Json::Value& jLinkedGpo,
                                                    Json::Value& data);
VUROTARN_API int VUROTARNGpoGetLinkTarget(long id, VURO_TARN_OU** pListOu,
                                          VURO_TARN_PEER** pListPeer);
/* Removes the policy from every link text, then deletes it. */
VUROTARN_API int VUROTARNGpoDeleteAllByID(long id);
VUROTARN_API BOOL VUROTARNGpoCanManagedByUid(uid_t uid, long gpo_id);
VUROTARN_API int VUROTARNGpoListTreeByUid(uid_t uid, VURO_TARN_GPO** ppHead);

#endif
