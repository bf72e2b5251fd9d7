/* vurotarn_record_export.h - what a family writes with: the names of its
 * traits, and its exported verbs and item accessors, each one line over the
 * record pattern. The exported names and types are the public headers'. */
#ifndef VUROTARN_RECORD_EXPORT_H
#define VUROTARN_RECORD_EXPORT_H

/* A family's names: its record in messages, its table, the argument its
 * checks name (and the list's, with "List" behind), its plug-in module. */
#define VUROTARN_TRAITS_NAMES(word, table, recArg, module) \
    static constexpr const char* kWord = word;             \
    static constexpr const char* kTable = table;           \
    static constexpr const char* kRecArg = recArg;         \
    static constexpr const char* kListArg = recArg "List"; \
    static constexpr const char* kModule = module
/* Its hooks module/module_create, _set and _delete. */
#define VUROTARN_TRAITS_HOOKS(module)                                       \
    static constexpr const char* kHookCreate = module "/" module "_create"; \
    static constexpr const char* kHookSet = module "/" module "_set";       \
    static constexpr const char* kHookDelete = module "/" module "_delete"

/* The exported item getter and setter of family R over a member of its
 * record (VUROTARN<Fam>ItemGet<Name>, ...ItemSet<Name>): a number,
 * converted from and to the declared Type, or a text copied into a sized
 * buffer. The _GET_ and _SET_ forms make one of them, under any name. */
#define VUROTARN_ITEM(R, Fam, Name, Type, member)                          \
    VUROTARN_ITEM_GET_VALUE(R, VUROTARN##Fam##ItemGet##Name, Type, member) \
    VUROTARN_ITEM_SET_VALUE(R, VUROTARN##Fam##ItemSet##Name, Type, member)
#define VUROTARN_ITEM_TEXT(R, Fam, Name, member)                    \
    VUROTARN_ITEM_GET_TEXT(R, VUROTARN##Fam##ItemGet##Name, member) \
    VUROTARN_ITEM_SET_TEXT(R, VUROTARN##Fam##ItemSet##Name, member)
#define VUROTARN_ITEM_GET_VALUE(R, fn, Type, member) \
    int fn(Type* pVal, const R::Rec* p) { return R::itemGetValue(pVal, p, &R::Rec::member); }
#define VUROTARN_ITEM_GET_TEXT(R, fn, member)                    \
    int fn(char* szBuf, size_t cbBuf, const R::Rec* p) {         \
        return R::itemGetText(szBuf, cbBuf, p, &R::Rec::member); \
    }
#define VUROTARN_ITEM_SET_VALUE(R, fn, Type, member) \
    int fn(R::Rec* p, Type val) { return R::itemSetValue(p, val, &R::Rec::member); }
#define VUROTARN_ITEM_SET_TEXT(R, fn, member) \
    int fn(R::Rec* p, const char* szVal) { return R::itemSetText(p, szVal, &R::Rec::member); }

/* The verbs every family exports, each the record pattern's own: Fam is
 * the word in the exported names (VUROTARN<Fam>Create), R the family's
 * VurotarnRecord, IdArg what DeleteMultiple takes a list of. */
#define VUROTARN_RECORD_VERBS(Fam, R, IdArg)                                                  \
    R::Rec* VUROTARN##Fam##Alloc() { return R::alloc(); }                                     \
    int VUROTARN##Fam##Free(R::Rec* p) { return R::free(p); }                                 \
    int VUROTARN##Fam##Clear(R::Rec* p) { return R::clear(p); }                               \
    R::Rec* VUROTARN##Fam##Next(const R::Rec* p) { return R::next(p); }                       \
    void VUROTARN##Fam##ListFree(R::Rec** pList) { R::listFree(pList); }                      \
    int VUROTARN##Fam##Get(R::Id id, R::Rec* p) { return R::get(id, p); }                     \
    int VUROTARN##Fam##GetMultiple(R::Id* ids, size_t cID, R::Rec* p) {                       \
        return R::getMultiple(ids, cID, p);                                                   \
    }                                                                                         \
    int VUROTARN##Fam##Create(R::Rec* p) { return R::create(p); }                             \
    int VUROTARN##Fam##CreateMultiple(R::Rec* pList) { return R::createMultiple(pList); }     \
    int VUROTARN##Fam##Set(R::Rec* p) { return R::set(p); }                                   \
    int VUROTARN##Fam##SetMultiple(R::Rec* pList) { return R::setMultiple(pList); }           \
    int VUROTARN##Fam##Save(R::Rec* p) { return R::save(p); }                                 \
    int VUROTARN##Fam##Delete(R::Id id) { return R::del(id); }                                \
    int VUROTARN##Fam##DeleteList(R::Rec* pList) { return R::deleteList(pList); }             \
    int VUROTARN##Fam##DeleteMultiple(IdArg* ids, size_t cID) {                               \
        return R::deleteMultiple(ids, cID);                                                   \
    }                                                                                         \
    int VUROTARN##Fam##DeleteAll() { return R::deleteAll(); }                                 \
    int VUROTARN##Fam##List(const PQLIBSZHASH pParms, R::Rec** pList, size_t* pTotalCount) {  \
        return R::list(pParms, pList, pTotalCount);                                           \
    }                                                                                         \
    int VUROTARN##Fam##ListAll(R::Rec** pList, BOOL (*isKeep)(R::Rec*, void*), void* pData) { \
        return R::listAll(pList, isKeep, pData);                                              \
    }                                                                                         \
    int VUROTARN##Fam##PluginInit(R::Env* pEnv, const char* szPlugin, const R::Rec* pOrg,     \
                                  const R::Rec* pNew) {                                       \
        return R::pluginInit(pEnv, szPlugin, pOrg, pNew);                                     \
    }                                                                                         \
    int VUROTARN##Fam##Plugin(const SDK_PLUGIN_ACTION action, R::Env* pEnv) {                 \
        return R::plugin(action, pEnv);                                                       \
    }                                                                                         \
    int VUROTARN##Fam##PluginExit(R::Env* pEnv) { return R::pluginExit(pEnv); }

#endif
