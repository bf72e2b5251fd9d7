/* vurotarnpeer - the service's helper that the event log runs to learn what
 * a user may see: "--listsnbyuid uid=N" prints one object id per line
 * ("ou_3", "peer_7"), every node of the user's view of the tree. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vurotarn.h"

static int usage() {
    fprintf(stderr, "usage: vurotarnpeer --listsnbyuid uid=N\n");
    return 2;
}

int main(int argc, char** argv) {
    if (argc != 3 || strcmp(argv[1], "--listsnbyuid") != 0 || strncmp(argv[2], "uid=", 4) != 0) {
        return usage();
    }
    char* end = NULL;
    unsigned long uid = strtoul(argv[2] + 4, &end, 10);
    if (argv[2][4] == '\0' || *end != '\0' || uid > 0xFFFFFFFFul) {
        return usage();
    }
    PQLIBSZLIST list = QLIBCSzListAlloc(64);
    if (list == NULL || VUROTARNContainerObjIDListByUid((uid_t)uid, &list) != 0) {
        fprintf(stderr, "vurotarnpeer: cannot list the objects of uid %lu\n", uid);
        QLIBCSzListFree(list);
        return 1;
    }
    for (int i = 0; i < list->nItem; i++) {
        printf("%s\n", list->pszItem[i]);
    }
    QLIBCSzListFree(list);
    return 0;
}
