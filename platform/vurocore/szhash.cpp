/* szhash.cpp - string to string hash that remembers insertion order: an
 * ordered list of pairs with an index map beside it for lookups. */
#include "vurocore.h"

#include <algorithm>
#include <list>
#include <new>
#include <string>
#include <unordered_map>
#include <utility>

namespace {

struct SzHash {
    using Pairs = std::list<std::pair<std::string, std::string>>;
    Pairs pairs;
    std::unordered_map<std::string, Pairs::iterator> index;

    void set(const char* key, const char* value) {
        auto it = index.find(key);
        if (it != index.end()) {
            // A re-set keeps the key where it was first put.
            it->second->second = value;
            return;
        }
        pairs.emplace_back(key, value);
        try {
            index.emplace(key, std::prev(pairs.end()));
        } catch (...) {
            pairs.pop_back();
            throw;
        }
    }
};

SzHash* impl(const PQLIBSZHASH hash) {
    return hash != NULL ? static_cast<SzHash*>(hash->pImpl) : nullptr;
}

// The size is a hint only; a huge one must not cost a huge table up front.
const int kMaxReserve = 1024;

}  // namespace

PQLIBSZHASH QLIBCIHashAllocator(int size, int itemHint) {
    PQLIBSZHASH hash = new (std::nothrow) QLIBSZHASH();
    if (hash == NULL) {
        return NULL;
    }
    try {
        SzHash* h = new SzHash();
        if (size > 0) {
            h->index.reserve(std::min(size, kMaxReserve));
        }
        hash->pImpl = h;
    } catch (...) {
        delete hash;
        return NULL;
    }
    hash->nSize = size;
    hash->nItemHint = itemHint;
    return hash;
}

PQLIBSZHASH QLIBCSzHashAlloc(int size) { return QLIBCIHashAllocator(size, 0); }

int QLIBCCopyHash(const PQLIBSZHASH from, PQLIBSZHASH to) {
    SzHash* src = impl(from);
    SzHash* dst = impl(to);
    if (src == nullptr || dst == nullptr) {
        return -1;
    }
    if (src == dst) {
        return 0;
    }
    try {
        for (const auto& pair : src->pairs) {
            dst->set(pair.first.c_str(), pair.second.c_str());
        }
    } catch (...) {
        return -1;
    }
    return 0;
}

void QLIBCSzHashFree(PQLIBSZHASH hash) {
    if (hash == NULL) {
        return;
    }
    delete impl(hash);
    delete hash;
}

int QLIBCSzHashSetValue(PQLIBSZHASH* pHash, const char* key, const char* value) {
    if (pHash == NULL || key == NULL || value == NULL) {
        return -1;
    }
    SzHash* h = impl(*pHash);
    if (h == nullptr) {
        return -1;
    }
    try {
        h->set(key, value);
    } catch (...) {
        return -1;
    }
    return 0;
}

const char* QLIBCSzHashGetValue(const PQLIBSZHASH hash, const char* key) {
    SzHash* h = impl(hash);
    if (h == nullptr || key == NULL) {
        return NULL;
    }
    try {
        auto it = h->index.find(key);
        return it == h->index.end() ? NULL : it->second->second.c_str();
    } catch (...) {
        return NULL;
    }
}

int QLIBCSzHashRemoveKey(PQLIBSZHASH hash, const char* key) {
    SzHash* h = impl(hash);
    if (h == nullptr || key == NULL) {
        return -1;
    }
    try {
        auto it = h->index.find(key);
        if (it == h->index.end()) {
            return -1;
        }
        h->pairs.erase(it->second);
        h->index.erase(it);
    } catch (...) {
        return -1;
    }
    return 0;
}

int QLIBCHashRemoveAll(PQLIBSZHASH hash) {
    SzHash* h = impl(hash);
    if (h == nullptr) {
        return -1;
    }
    h->index.clear();
    h->pairs.clear();
    return 0;
}

int QLIBCSzHashEnumKey(const PQLIBSZHASH hash, PQLIBSZLIST* pList) {
    SzHash* h = impl(hash);
    if (h == nullptr || pList == NULL) {
        return -1;
    }
    // Callers read nItem straight after, even for an empty hash.
    if (*pList == NULL && (*pList = QLIBCSzListAlloc(0)) == NULL) {
        return -1;
    }
    for (const auto& pair : h->pairs) {
        if (QLIBCSzListPush(pList, pair.first.c_str()) < 0) {
            return -1;
        }
    }
    return 0;
}

int QLIBCSzHashCount(const PQLIBSZHASH hash) {
    SzHash* h = impl(hash);
    return h == nullptr ? -1 : static_cast<int>(h->pairs.size());
}
