/* vurotarn_tree.h - walks over the organisation tree: the children of a
 * node, a node with all below it, the path from a node to the root. */
#ifndef VUROTARN_TREE_H
#define VUROTARN_TREE_H

#include "vurotarn_type.h"
#include "vurotarngpo.h"
#include "vurotarnou.h"
#include "vurotarnpeer.h"

/* Direct children of node id of idType (1 peer: its GPOs; 2 OU: GPOs, peers,
 * OUs). Lists the caller does not want are NULL. 0 or -1. */
VUROTARN_API int VUROTARNGetChildByID(long id, int idType, VURO_TARN_OU** pListOu,
                                      VURO_TARN_PEER** pListPeer, VURO_TARN_GPO** pListGpo);
/* The node and everything below it, breadth first, appended behind what the
 * lists hold. All or nothing: on failure the lists keep what they held. */
VUROTARN_API int VUROTARNGetTreeByID(long id, int idType, VURO_TARN_OU** pListOu,
                                     VURO_TARN_PEER** pListPeer, VURO_TARN_GPO** pListGpo);
VUROTARN_API int VUROTARNGetTreeByOuObj(VURO_TARN_OU* pOuRoot, VURO_TARN_OU** pListOu,
                                        VURO_TARN_PEER** pListPeer, VURO_TARN_GPO** pListGpo);
VUROTARN_API int VUROTARNGetTreeByPeerObj(VURO_TARN_PEER* pPeerRoot, VURO_TARN_OU** pListOu,
                                          VURO_TARN_PEER** pListPeer, VURO_TARN_GPO** pListGpo);
/* Ids from the OU up to the root ("0"), as text; the count of steps. */
VUROTARN_API int VUROTARNOuListTreePath(long idOu, PQLIBSZLIST pList);
/* The same from a peer's OU; the peer's own id is not in the list. */
VUROTARN_API int VUROTARNPeerListTreePath(long idPeer, PQLIBSZLIST pList);
/* Kept for callers; does nothing. */
VUROTARN_API int VUROTARNOu_CreateOu(long idOu, long* pIdList, int* nIdList);

#endif
