/* vurotarn_delete.h - removing a node of the tree with what hangs on it. */
#ifndef VUROTARN_DELETE_H
#define VUROTARN_DELETE_H

#include "vurotarn_type.h"

/* An OU subtree with its delegates; its peers and policies move to the
 * root. The root itself is refused. */
VUROTARN_API int VUROTARNOuDeleteAllByID(long id);
/* A peer with its policies and delegates. */
VUROTARN_API int VUROTARNPeerDeleteAllByID(long idPeer);
VUROTARN_API int VUROTARNPeerDeleteAllBySN(const char* szSN);

#endif
