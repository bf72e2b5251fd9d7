/* vurotarn_list_int.h - what the walks and views do to record lists of any
 * family: append at the tail, find an id, drop repeated ids, free. */
#ifndef VUROTARN_LIST_INT_H
#define VUROTARN_LIST_INT_H

#include <set>

template <class Rec>
Rec** vurotarnListTail(Rec** ppHead) {
    while (*ppHead != nullptr) {
        ppHead = &(*ppHead)->pNext;
    }
    return ppHead;
}

/* Moves the whole of pList behind what *ppHead holds. */
template <class Rec>
void vurotarnListAppend(Rec** ppHead, Rec* pList) {
    *vurotarnListTail(ppHead) = pList;
}

template <class Rec>
void vurotarnListDestroy(Rec** ppHead) {
    Rec* p = *ppHead;
    while (p != nullptr) {
        Rec* pNext = p->pNext;
        delete p;
        p = pNext;
    }
    *ppHead = nullptr;
}

template <class Rec, class Id>
bool vurotarnListHasId(const Rec* p, Id id) {
    for (; p != nullptr; p = p->pNext) {
        if (p->id == id) return true;
    }
    return false;
}

/* Keeps the first record of each id; the order of the rest stays. */
template <class Rec>
void vurotarnListUnique(Rec** ppHead) {
    std::set<decltype((*ppHead)->id)> seen;
    Rec** ppLink = ppHead;
    while (*ppLink != nullptr) {
        Rec* p = *ppLink;
        if (seen.insert(p->id).second) {
            ppLink = &p->pNext;
        } else {
            *ppLink = p->pNext;
            delete p;
        }
    }
}

template <class Rec>
int vurotarnListCount(const Rec* p) {
    int n = 0;
    for (; p != nullptr; p = p->pNext) n++;
    return n;
}

#endif
