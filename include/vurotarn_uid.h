/* vurotarn_uid.h - what each user may see and manage: administrators see
 * the whole tree, others the nodes delegated to them or their groups, with
 * everything below. */
#ifndef VUROTARN_UID_H
#define VUROTARN_UID_H

#include <sys/types.h>

#include <string>

#include "vurotarn_type.h"
#include "vurotarndelegate.h"
#include "vurotarngpo.h"
#include "vurotarnou.h"
#include "vurotarnpeer.h"

VUROTARN_API BOOL VUROTARNIsAdminGroup(uid_t uid);
VUROTARN_API BOOL VUROTARNIsAdminGroupByUidStr(const char* szUid);
/* The groups of a user, as gids (blGid) or names, pushed on *ppGroupList. */
VUROTARN_API int VUROTARNGetGroupListByUid(uid_t uid, PQLIBSZLIST* ppGroupList, BOOL blGid);
VUROTARN_API int VUROTARNGetGroupListByUidStr(const char* szUid, PQLIBSZLIST* ppList, BOOL blGid);
VUROTARN_API int VUROTARNDelegateListClassify(VURO_TARN_DELEGATE_LIST listDelegate,
                                              VURO_TARN_OU** ppHeadOu, VURO_TARN_PEER** ppHeadPeer,
                                              VURO_TARN_GPO** ppHeadGpo);
VUROTARN_API int VUROTARNListOneLevelByUidHash(PQLIBSZHASH pHash, VURO_TARN_OU** ppHeadOu,
                                               VURO_TARN_PEER** ppHeadPeer,
                                               VURO_TARN_GPO** ppHeadGpo);
VUROTARN_API int VUROTARNListTreeByUidHash(PQLIBSZHASH pHash, VURO_TARN_OU** ppHeadOu,
                                           VURO_TARN_PEER** ppHeadPeer, VURO_TARN_GPO** ppHeadGpo);
VUROTARN_API int VUROTARNListTreeByUid(uid_t uid, VURO_TARN_OU** ppHeadOu,
                                       VURO_TARN_PEER** ppHeadPeer, VURO_TARN_GPO** ppHeadGpo);
VUROTARN_API int VUROTARNObjectListTreeByUid(uid_t uid, VURO_TARN_OU** ppHeadOu,
                                             VURO_TARN_PEER** ppHeadPeer,
                                             VURO_TARN_GPO** ppHeadGpo);
VUROTARN_API int VUROTARNOuListOneLevelByUid(uid_t uid, VURO_TARN_OU** ppHead);
VUROTARN_API int VUROTARNPeerListOneLevelByUid(uid_t uid, VURO_TARN_PEER** ppHead);
VUROTARN_API int VUROTARNOuListTreeByUid(uid_t uid, VURO_TARN_OU** ppHead);
VUROTARN_API int VUROTARNPeerListTreeByUid(uid_t uid, VURO_TARN_PEER** ppHead);
VUROTARN_API int VUROTARNPeerListUnderOU(uid_t uid, long ou_id, VURO_TARN_PEER_LIST* pListPeer);
VUROTARN_API BOOL VUROTARNOuIsIDInList(long ou_id, const VURO_TARN_OU_LIST listOu);
VUROTARN_API BOOL VUROTARNOuCanManagedByUid(uid_t uid, long ou_id);
VUROTARN_API BOOL VUROTARNPeerIDCanManagedByUid(uid_t uid, long peer_id);
VUROTARN_API BOOL VUROTARNPeerCanManagedByUid(uid_t uid, const char* szSN);
VUROTARN_API int VUROTARNPeerSNListByUid(uid_t uid, PQLIBSZLIST* ppList);
/* "ou_%ld" and "peer_%ld" of every node in the user's view, sorted. */
VUROTARN_API int VUROTARNContainerObjIDListByUid(uid_t uid, PQLIBSZLIST* ppList);
/* A WHERE text on peer_id for the peers the user may manage; the count of
 * those peers, or -1. */
VUROTARN_API int VUROTARNGetPeerIDFilter(const std::string strUser, std::string& strFilter);

#endif
