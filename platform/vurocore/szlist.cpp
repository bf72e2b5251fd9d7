/* szlist.cpp - the growable list of C strings; callers read nItem and
 * pszItem directly, so it stays a plain malloc'ed C structure. */
#include "vurocore.h"

#include <stdlib.h>
#include <string.h>

namespace {

const int kDefaultAlloc = 8;

int compareItems(const void* a, const void* b) {
    return strcmp(*static_cast<char* const*>(a), *static_cast<char* const*>(b));
}

// Makes room for one more item, doubling the array.
int reserveOne(PQLIBSZLIST list) {
    if (list->nItem < list->nAlloc) {
        return 0;
    }
    int want = list->nAlloc > 0 ? list->nAlloc * 2 : kDefaultAlloc;
    char** items = static_cast<char**>(realloc(list->pszItem, sizeof(char*) * want));
    if (items == NULL) {
        return -1;
    }
    list->pszItem = items;
    list->nAlloc = want;
    return 0;
}

}  // namespace

PQLIBSZLIST QLIBCSzListAlloc(int size) {
    PQLIBSZLIST list = static_cast<PQLIBSZLIST>(calloc(1, sizeof(QLIBSZLIST)));
    if (list == NULL) {
        return NULL;
    }
    int want = size > 0 ? size : kDefaultAlloc;
    list->pszItem = static_cast<char**>(calloc(want, sizeof(char*)));
    if (list->pszItem == NULL) {
        free(list);
        return NULL;
    }
    list->nAlloc = want;
    return list;
}

void QLIBCSzListFree(PQLIBSZLIST list) {
    if (list == NULL) {
        return;
    }
    QLIBCSzListRemoveAll(list);
    free(list->pszItem);
    free(list);
}

int QLIBCSzListPush(PQLIBSZLIST* pList, const char* text) {
    if (pList == NULL || text == NULL) {
        return -1;
    }
    if (*pList == NULL && (*pList = QLIBCSzListAlloc(0)) == NULL) {
        return -1;
    }
    PQLIBSZLIST list = *pList;
    char* copy = strdup(text);
    if (copy == NULL || reserveOne(list) < 0) {
        free(copy);
        return -1;
    }
    list->pszItem[list->nItem++] = copy;
    return 0;
}

const char* QLIBCSzListGet(const PQLIBSZLIST list, int index) {
    if (list == NULL || index < 0 || index >= list->nItem) {
        return NULL;
    }
    return list->pszItem[index];
}

int QLIBCSzListRemoveAll(PQLIBSZLIST list) {
    if (list == NULL) {
        return -1;
    }
    for (int i = 0; i < list->nItem; i++) {
        free(list->pszItem[i]);
        list->pszItem[i] = NULL;
    }
    list->nItem = 0;
    return 0;
}

int QLIBCSzListSortItems(PQLIBSZLIST list, int op) {
    if (list == NULL || op != OP_SORTED) {
        return -1;
    }
    if (list->nItem > 1) {
        qsort(list->pszItem, list->nItem, sizeof(char*), compareItems);
    }
    return 0;
}
