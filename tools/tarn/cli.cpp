/* cli.cpp - what the tarn commands share: argument parsing against each
 * command's declared options, the write locks of the record families,
 * failure exits that name their cause, and JSON output. */
#include <ctype.h>
#include <errno.h>
#include <stdarg.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <iostream>
#include <iterator>
#include <set>
#include <sstream>

#include <vurojson.h>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

/* The words of a command's list, "name-LANG" standing for every language. */
bool declLists(const char* szList, const std::string& key) {
    std::istringstream in(szList != NULL ? szList : "");
    std::string word;
    while (in >> word) {
        if (word == key) return true;
        if (word == "name-LANG" && key.rfind("name-", 0) == 0) {
            for (const VURO_TARN_PKG_NAME_FIELD* f = gVUROTARNPkgNameFields; f->szLang != NULL;
                 f++) {
                if (key == std::string("name-") + f->szLang) return true;
            }
        }
    }
    return false;
}

/* "--key=value" into key and value; false for a plain "--key". */
bool splitInline(const std::string& word, std::string* pKey, std::string* pValue) {
    size_t eq = word.find('=');
    *pKey = word.substr(2, eq == std::string::npos ? std::string::npos : eq - 2);
    if (eq == std::string::npos) return false;
    *pValue = word.substr(eq + 1);
    return true;
}

/* The value of the option at argv[*pI]: inline, or the next word, which
 * must not be an option itself. */
std::string optionValue(int argc, char** argv, int* pI, const std::string& key, bool blInline,
                        const std::string& inlineValue) {
    if (blInline) return inlineValue;
    if (*pI + 1 >= argc || std::string(argv[*pI + 1]).rfind("--", 0) == 0) {
        throw UsageError{"--" + key + " needs a value (--" + key +
                         "=VALUE for one that starts with --)"};
    }
    return argv[++*pI];
}

/* A global option at argv[*pI] into *pGlobals; false when it is none. */
bool takeGlobal(int argc, char** argv, int* pI, Globals* pGlobals) {
    std::string word = argv[*pI];
    if (word == "-v") {
        pGlobals->verbose = true;
        return true;
    }
    if (word.rfind("--", 0) != 0) return false;
    std::string key, inlineValue;
    bool blInline = splitInline(word, &key, &inlineValue);
    if (key != "root" && key != "user") return false;
    bool& given = key == "root" ? pGlobals->hasRoot : pGlobals->hasUser;
    if (given) throw UsageError{"--" + key + " is given twice"};
    std::string value = optionValue(argc, argv, pI, key, blInline, inlineValue);
    if (value.empty()) throw UsageError{"--" + key + " needs a value, not an empty one"};
    (key == "root" ? pGlobals->root : pGlobals->user) = value;
    given = true;
    return true;
}

}  // namespace

void parseGlobals(int argc, char** argv, int* pI, Globals* pGlobals) {
    while (*pI < argc && takeGlobal(argc, argv, pI, pGlobals)) ++*pI;
}

Args parseArgs(int argc, char** argv, int first, const CommandDecl& decl, Globals* pGlobals) {
    Args args;
    std::string lastFlag;
    bool blOptionsEnd = false;
    for (int i = first; i < argc; i++) {
        std::string word = argv[i];
        bool blOption = !blOptionsEnd && word.size() > 1 && word[0] == '-' &&
                        (word[1] == '-' || isalpha((unsigned char)word[1]));
        if (blOption && word == "--") {
            blOptionsEnd = true;
            continue;
        }
        if (blOption && takeGlobal(argc, argv, &i, pGlobals)) {
            lastFlag.clear();
            continue;
        }
        if (!blOption) {
            if ((int)args.positional.size() >= decl.maxPositional) {
                if (!lastFlag.empty()) {
                    throw UsageError{"--" + lastFlag + " takes no value, not '" + word + "'"};
                }
                const char* kCounts[] = {"no argument", "one argument"};
                std::string count = decl.maxPositional < 2
                                        ? kCounts[decl.maxPositional]
                                        : std::to_string(decl.maxPositional) + " arguments";
                throw UsageError{"'" + std::string(decl.szName) + "' takes " + count +
                                 ", not also '" + word + "'"};
            }
            args.positional.push_back(word);
            lastFlag.clear();
            continue;
        }
        std::string key, inlineValue;
        bool blInline = word[1] == '-' && splitInline(word, &key, &inlineValue);
        if (word[1] != '-') key = word.substr(1);
        if (word[1] == '-' && declLists(decl.szOptions, key)) {
            if (args.has(key)) throw UsageError{"--" + key + " is given twice"};
            args.options[key] = optionValue(argc, argv, &i, key, blInline, inlineValue);
            lastFlag.clear();
        } else if (word[1] == '-' && declLists(decl.szFlags, key)) {
            if (blInline) throw UsageError{"--" + key + " takes no value"};
            args.flags[key] = true;
            lastFlag = key;
        } else {
            throw UsageError{"unknown option " + word.substr(0, word.find('=')) + " for '" +
                             decl.szName + "'"};
        }
    }
    return args;
}

long parseLong(const std::string& text, const char* what) {
    char* end = NULL;
    errno = 0;
    long v = strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0) {
        throw UsageError{std::string("not a number for ") + what + ": '" + text + "'"};
    }
    return v;
}

std::string parseJsonText(const std::string& text, const char* what) {
    Json::Value j;
    if (!vurojson::fromString(j, text)) {
        throw UsageError{std::string("not JSON for ") + what + ": '" + text + "'"};
    }
    return vurojson::toString(j);
}

namespace {

/* What the platform error store's code means, for a failure the database
 * did not explain. */
const char* errStoreMeaning(VUROERR code) {
    switch (code) {
        case ERR_NOT_ENOUGH_MEMORY:
        case ERR_OUT_OF_MEMORY:
            return "out of memory";
        case ERR_OPEN_FAILED:
            return "a file could not be opened";
        case ERR_WRITE_FAILED:
            return "the row written could not be read back";
        case ERR_BAD_PARAMETERS:
            return "a value the library refused";
        case ERR_KEY_NOT_FOUND:
            return "not found";
        case ERR_NOT_ENOUGH_SPACE:
            return "not enough space on the volume";
        case ERR_OP_FAILURE:
            return "the operation failed";
        case ERR_VOLUME_NOT_FOUND:
            return "no data volume";
        case ERR_SPACE_BUILDING_FOREGROUND:
            return "the volume is being built";
        default:
            return "";
    }
}

/* The cause of the last failure the library met: SQLite's words when a
 * statement failed, else the error store's meaning. */
std::string failureCause() {
    // The loopback guard stores the generic code; where it was set tells it
    // apart, and "a value the library refused" would hide why nothing was sent.
    const char* file = QLIBCErrorGetFile();
    if (QLIBCErrGet() == ERR_BAD_PARAMETERS && file != NULL && strstr(file, "netguard.cpp")) {
        return "destination refused (loopback only)";
    }
    std::string cause = VUROTARNErrGetCause();
    if (cause.empty()) cause = errStoreMeaning(QLIBCErrGet());
    return cause;
}

}  // namespace

namespace {

[[noreturn]] void failWith(const std::string& what, int status) {
    std::string cause = failureCause();
    OpFailure f{what + (cause.empty() ? "" : ": ") + cause, "", status};
    if (QLIBCErrGet() != 0) {
        char szDetail[256];
        snprintf(szDetail, sizeof(szDetail), "error 0x%04X at %s:%d", (unsigned)QLIBCErrGet(),
                 QLIBCErrorGetFile() ? QLIBCErrorGetFile() : "?", QLIBCErrorGetLine());
        f.detail = szDetail;
    }
    throw f;
}

OutputCapture* g_capture = nullptr;

}  // namespace

void fail(const std::string& what) { failWith(what, 0); }
void failNotFound(const std::string& what) { failWith(what, 404); }

void warnIfLogRowMissing() {
    int code = VUROTARNErrGet();
    if (code == 0) return;
    std::string cause = VUROTARNErrGetCause();
    if (cause.empty()) {
        cause = code == VUROTARN_ERR_LOG_DB_OPEN ? "its database could not be opened"
                                                 : "the row could not be stored";
    }
    std::string warning = "done, but the event log row of it is missing: " + cause;
    if (g_capture != nullptr) {
        g_capture->warning = warning;
    } else {
        fprintf(stderr, "tarn: warning: %s\n", warning.c_str());
    }
}

OutputCapture::OutputCapture() : pOuter_(g_capture) { g_capture = this; }
OutputCapture::~OutputCapture() { g_capture = pOuter_; }

Json::Value OutputCapture::result() const {
    Json::Value j;
    if (json.size() == 1) {
        j = json[0];
    } else if (!json.empty()) {
        j = Json::Value(Json::arrayValue);
        for (const Json::Value& one : json) j.append(one);
    } else if (!vurojson::fromString(j, text)) {
        // Text that is a JSON document (the effective policy) is answered as JSON.
        j = Json::Value();
        j["text"] = text;
    }
    if (!warning.empty() && j.isObject()) j["warning"] = warning;
    return j;
}

void printText(const std::string& text) {
    if (g_capture != nullptr) {
        g_capture->text += text;
    } else {
        fputs(text.c_str(), stdout);
    }
}

void printTextf(const char* szFormat, ...) {
    va_list ap;
    va_start(ap, szFormat);
    char* sz = NULL;
    int n = vasprintf(&sz, szFormat, ap);
    va_end(ap);
    if (n < 0) fail("out of memory");
    std::string text(sz, (size_t)n);
    free(sz);
    printText(text);
}

namespace {

const char kLockDir[] = "/var/packages/TARN/etc";
const int kLockWaitSeconds = 60;

/* An exclusive flock on fd within the wait; false when it stayed taken. */
bool lockWithin(int fd, int seconds) {
    time_t deadline = time(NULL) + seconds;
    for (;;) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) return true;
        if (errno != EWOULDBLOCK && errno != EINTR) return false;
        if (time(NULL) >= deadline) return false;
        usleep(5000);
    }
}

}  // namespace

FamilyLocks::FamilyLocks(const char* szFamilies) {
    std::istringstream in(szFamilies != NULL ? szFamilies : "");
    std::set<std::string> families{std::istream_iterator<std::string>(in),
                                   std::istream_iterator<std::string>()};
    if (families.empty()) return;
    std::string dir = VUROSysPathStr(kLockDir);
    // Neither the folder nor a lock file is followed when it is a link:
    // the lock file is created, and must not be created elsewhere.
    int dirFd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (dirFd < 0) fail("cannot open " + dir + " for the write locks: " + strerror(errno));
    try {
        for (const std::string& family : families) {
            std::string name = "tarn_" + family + ".lock";
            // Close-on-exec: a plug-in's background child must not keep it.
            int fd = openat(dirFd, name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
            if (fd >= 0) fds_.push_back(fd);
            struct stat st;
            if (fd < 0 || fstat(fd, &st) != 0) {
                fail("cannot open the lock " + dir + "/" + name + ": " + strerror(errno));
            }
            if (!S_ISREG(st.st_mode)) fail("the lock " + dir + "/" + name + " is not a plain file");
            if (!lockWithin(fd, kLockWaitSeconds)) {
                fail("the " + family + " records stayed locked by another tarn for " +
                     std::to_string(kLockWaitSeconds) + " s");
            }
        }
    } catch (...) {
        // A web API worker lives on after a refusal: nothing may stay open or held.
        for (int fd : fds_) close(fd);
        close(dirFd);
        throw;
    }
    close(dirFd);
}

FamilyLocks::~FamilyLocks() {
    for (int fd : fds_) close(fd);
}

void printJson(const Json::Value& j) {
    if (g_capture != nullptr) {
        g_capture->json.push_back(j);
        return;
    }
    Json::StreamWriterBuilder w;
    w["indentation"] = "  ";
    w["emitUTF8"] = true;
    std::cout << Json::writeString(w, j) << std::endl;
}

unsigned long long parseULongLong(const std::string& text, const char* what) {
    char* end = NULL;
    errno = 0;
    unsigned long long v = strtoull(text.c_str(), &end, 10);
    if (text.empty() || text[0] == '-' || *end != '\0' || errno != 0) {
        throw UsageError{std::string("not a number for ") + what + ": '" + text + "'"};
    }
    return v;
}

long singleId(const Args& args, const char* what) {
    if (args.positional.size() != 1) {
        throw UsageError{std::string(what) + " takes one id"};
    }
    return parseLong(args.positional[0], "id");
}

long nodeTypeParse(const std::string& text, const char* what) {
    if (text == "ou") return VURO_TARN_TYPE_OU;
    if (text == "peer") return VURO_TARN_TYPE_PEER;
    throw UsageError{std::string(what) + " is ou or peer, not '" + text + "'"};
}

ListQuery::ListQuery(const Args& args,
                     const std::vector<std::pair<std::string, std::string>>& filters)
    : pHash_(QLIBCSzHashAlloc(16)) {
    for (const auto& f : filters) {
        if (args.has(f.first)) {
            QLIBCSzHashSetValue(&pHash_, f.second.c_str(), args.get(f.first).c_str());
        }
    }
    QLIBCSzHashSetValue(&pHash_, "sort_by", args.get("sort-by", "id").c_str());
    QLIBCSzHashSetValue(&pHash_, "sort_direction", args.flag("desc-order") ? "DESC" : "ASC");
    for (const char* key : {"limit", "offset"}) {
        if (args.has(key)) {
            QLIBCSzHashSetValue(&pHash_, key,
                                std::to_string(parseLong(args.get(key), key)).c_str());
        }
    }
}

ListQuery::~ListQuery() { QLIBCSzHashFree(pHash_); }

namespace {
template <class Rec>
Json::Value recordJsonBy(int (*toJson)(const Rec*, const Json::Value&, Json::Value&),
                         const Rec* p) {
    Json::Value j;
    if (toJson(p, Json::Value(), j) != 0) fail("cannot render a record as JSON");
    return j;
}
}  // namespace

Json::Value recordJson(const VURO_TARN_OU* p) { return recordJsonBy(VUROTARNOuStructToJson, p); }
Json::Value recordJson(const VURO_TARN_PEER* p) {
    return recordJsonBy(VUROTARNPeerStructToJson, p);
}
Json::Value recordJson(const VURO_TARN_GPO* p) { return recordJsonBy(VUROTARNGpoStructToJson, p); }
Json::Value recordJson(const VURO_TARN_DELEGATE* p) {
    return recordJsonBy(VUROTARNDelegateStructToJson, p);
}

}  // namespace tarncli

namespace tarncli {

std::vector<std::string> splitNames(const std::string& text) {
    std::vector<std::string> out;
    std::stringstream ss(text);
    std::string item;
    while (std::getline(ss, item, ',')) {
        if (!item.empty()) out.push_back(item);
    }
    return out;
}

long long parseLongIn(const std::string& text, const char* what, long long lo, long long hi) {
    char* end = NULL;
    errno = 0;
    long long v = strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || v < lo || v > hi) {
        // Out of range is refused, never wrapped into the column's type.
        throw UsageError{std::string(what) + " is a number from " + std::to_string(lo) + " to " +
                         std::to_string(hi) + ", not '" + text + "'"};
    }
    return v;
}

void nodeExistsCheck(long id, long type, const char* what) {
    bool found = false;
    if (type == VURO_TARN_TYPE_OU) {
        VURO_TARN_OU ou;
        found = VUROTARNOuGet(id, &ou) == 0;
    } else {
        VURO_TARN_PEER peer;
        found = VUROTARNPeerGet(id, &peer) == 0;
    }
    if (!found) {
        throw UsageError{std::string("no ") + (type == VURO_TARN_TYPE_OU ? "OU" : "peer") +
                         " with id " + std::to_string(id) + " for " + what};
    }
}

void linkTextCheck(const Json::Value& j, const char* idKey, const char* what) {
    bool ok = j.isObject() && j["order"].isArray();
    for (Json::ArrayIndex i = 0; ok && i < j["order"].size(); i++) {
        const Json::Value& e = j["order"][i];
        ok = e.isObject() && e[idKey].isIntegral() &&
             (!e.isMember("override") ||
              (e["override"].isIntegral() && e["override"].asLargestInt() >= 0 &&
               e["override"].asLargestInt() <= 1));
    }
    // Any other shape would be stored and then skipped by every reader.
    if (!ok) {
        throw UsageError{std::string(what) + " is {\"order\":[{\"" + idKey +
                         "\":N,\"override\":0|1},...]}, not " + vurojson::toString(j)};
    }
}

std::string linkTextParse(const std::string& text, const char* what) {
    std::string compact = parseJsonText(text, what);
    Json::Value j;
    vurojson::fromString(j, compact);
    linkTextCheck(j, "id", what);
    return compact;
}

}  // namespace tarncli

namespace tarncli {

namespace {

/* The read whose answer an edit's --expect is compared with: the record
 * the edit changes, as the caller got it. */
bool staleReadOf(const std::string& name, const Args& args, std::string* pRead, Args* pReadArgs) {
    static const char* const kRecordEdits[][2] = {{"ou set", "ou get"},
                                                  {"peer set", "peer get"},
                                                  {"gpo set", "gpo get"},
                                                  {"delegate set", "delegate get"}};
    for (const auto& e : kRecordEdits) {
        if (name == e[0]) {
            *pRead = e[1];
            pReadArgs->positional = args.positional;
            return true;
        }
    }
    if (name == "link") {
        *pRead = args.has("ou") ? "ou get" : "peer get";
        pReadArgs->positional.push_back(args.get(args.has("ou") ? "ou" : "peer"));
        return true;
    }
    if (name == "delegates set" || name == "delegates override") {
        *pRead = "delegates list";
        for (const char* key : {"ou", "peer"}) {
            if (args.has(key)) pReadArgs->options[key] = args.get(key);
        }
        return true;
    }
    return false;
}

/* JSON as it travels: numbers of any width compare by their text. */
std::string normalJson(const Json::Value& j) {
    Json::Value back;
    vurojson::fromString(back, vurojson::toString(j));
    return vurojson::toString(back);
}

void staleEditCheck(const CommandDecl& decl, const Args& args) {
    if (!args.has("expect")) return;
    Json::Value expect;
    if (!vurojson::fromString(expect, args.get("expect"))) {
        throw UsageError{"not JSON for --expect: '" + args.get("expect") + "'"};
    }
    std::string read;
    Args readArgs;
    if (!staleReadOf(decl.szName, args, &read, &readArgs)) return;
    const CommandDecl* pRead = commandFind(read);
    OutputCapture capture;
    pRead->run(read.substr(read.find(' ') + 1), readArgs);
    Json::Value current = capture.result();
    if (normalJson(current) != normalJson(expect)) {
        throw StaleEdit{"the record changed since it was read: nothing written; read it again",
                        current};
    }
}

}  // namespace

void commandRun(const CommandDecl& decl, const std::string& verb, const Args& args) {
    FamilyLocks locks(decl.szLocks);
    // Compared under the locks, so that no write comes between the check and the edit.
    staleEditCheck(decl, args);
    int rc = decl.run(verb, args);
    if (rc == 0 && decl.szLocks[0] != '\0') warnIfLogRowMissing();
}

}  // namespace tarncli
