/* cli.h - what the tarn commands share: argument parsing, failure exits
 * and JSON output. Each command family lives in its own cmd_*.cpp. */
#ifndef TARN_CLI_H
#define TARN_CLI_H

#include <json/json.h>

#include "vurotarn.h"

#include <map>
#include <string>
#include <vector>

namespace tarncli {

/* Bad input: the message and the usage go to stderr, exit code 2. */
struct UsageError {
    std::string what;
};

/* Options of one command: "--key value" pairs, flags, and positionals. */
struct Args {
    std::vector<std::string> positional;
    std::map<std::string, std::string> options;
    std::map<std::string, bool> flags;

    bool has(const std::string& key) const { return options.count(key) != 0; }
    bool flag(const std::string& key) const { return flags.count(key) != 0; }
    std::string get(const std::string& key, const std::string& dflt = "") const {
        auto it = options.find(key);
        return it == options.end() ? dflt : it->second;
    }
};

/* The options every command takes, anywhere on the line: --root DIR,
 * --user NAME, -v. */
struct Globals {
    std::string root;
    std::string user;
    bool hasRoot = false;
    bool hasUser = false;
    bool verbose = false;
};

/* One command of the tool ("ou create", "tree") as the dispatch knows it:
 * - szOptions: the options that take a value, space-separated, without
 *   "--"; "name-LANG" stands for --name-<code> of each language;
 * - szFlags: the options that take none;
 * - maxPositional: the most plain words it takes (ids, serials);
 * - szLocks: the record families whose rows it reads, changes and writes
 *   back, or whose rows it checks before a write; their locks are held while
 *   it runs. Empty for commands that only read.
 * Whatever is not listed is refused before the command runs. */
struct CommandDecl {
    const char* szName;
    const char* szOptions;
    const char* szFlags;
    int maxPositional;
    const char* szLocks;
    int (*run)(const std::string& verb, const Args& args);
};

/* The command of that name ("ou get", "tree"), or NULL. */
const CommandDecl* commandFind(const std::string& name);
/* Is word the first of a command of two words ("ou" of "ou get")? */
bool isFamily(const std::string& word);

/* Global options from argv[*pI] on, up to the first other word. */
void parseGlobals(int argc, char** argv, int* pI, Globals* pGlobals);
/* The words from argv[first] on, against the command's declaration; global options
 * go into *pGlobals. "--key=value" gives a value that starts with "--".
 * UsageError for an option the command does not know, an option without its
 * value, a flag given one, an option given twice and words past the count. */
Args parseArgs(int argc, char** argv, int first, const CommandDecl& decl, Globals* pGlobals);

/* The advisory locks of the families a writing command changes, under the
 * root's etc folder. Two tools that read a record, change it and write it
 * back would otherwise both write what they read, and one change is lost.
 * Taken in one order, so that no two commands wait on each other; fails
 * (exit 1) when a lock stays taken for a minute. */
class FamilyLocks {
public:
    explicit FamilyLocks(const char* szFamilies);
    ~FamilyLocks();
    FamilyLocks(const FamilyLocks&) = delete;
    FamilyLocks& operator=(const FamilyLocks&) = delete;

private:
    std::vector<int> fds_;
};

/* An edit made on a copy older than the stored record: nothing is written,
 * and current is the record as it is stored now. */
struct StaleEdit {
    std::string what;
    Json::Value current;
};

/* Runs a command as both the command line and the web API do: its family
 * locks taken, an edit given --expect (the record as the caller read it)
 * refused with StaleEdit when the record changed since, the handler run,
 * and a missing event log row of a write warned about. */
void commandRun(const CommandDecl& decl, const std::string& verb, const Args& args);

/* After a write that went through: a warning on stderr, with its cause,
 * when an event-log row of it could not be written. */
void warnIfLogRowMissing();

long parseLong(const std::string& text, const char* what);
unsigned long long parseULongLong(const std::string& text, const char* what);
/* The text as compact JSON; UsageError when it is not JSON. */
std::string parseJsonText(const std::string& text, const char* what);
/* The one positional id of "get", "set", "delete". */
long singleId(const Args& args, const char* what);
/* "ou" or "peer", the kinds of node that own policies and delegates. */
long nodeTypeParse(const std::string& text, const char* what);
/* A failed operation, thrown by fail: the message with its cause (the
 * database's words or the error store's meaning). The command line prints
 * what and detail and exits 1; the web API answers status with what alone.
 * status 0: the command's kind tells (a writer's failure is a failed write). */
struct OpFailure {
    std::string what;
    std::string detail; /* the error store's code and where it was set */
    int status;
};
[[noreturn]] void fail(const std::string& what);
/* The same for a record that is not stored (404 on the web API). */
[[noreturn]] void failNotFound(const std::string& what);

/* Where a command's output goes: stdout, unless an OutputCapture is alive;
 * then into it (the web API's answer). One command at a time per process. */
class OutputCapture {
public:
    OutputCapture();
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;
    /* The JSON printed (several: a list of them), or {"text": ...} for
     * text printed, with "warning" when one was given. */
    Json::Value result() const;

    std::vector<Json::Value> json;
    std::string text;
    std::string warning;

private:
    OutputCapture* pOuter_;
};
void printJson(const Json::Value& j);
/* A line or lines of human text (--human and the reports). */
void printText(const std::string& text);
[[gnu::format(printf, 1, 2)]] void printTextf(const char* szFormat, ...);

/* The condition hash of a "list" command: filters named by options (option
 * name to column), --sort-by, --desc-order, --limit, --offset. The rows come
 * back as a list in reverse order: print it with listJsonReversed. */
class ListQuery {
public:
    ListQuery(const Args& args, const std::vector<std::pair<std::string, std::string>>& filters);
    ~ListQuery();
    ListQuery(const ListQuery&) = delete;
    ListQuery& operator=(const ListQuery&) = delete;
    PQLIBSZHASH hash() const { return pHash_; }
    /* For adding keys that no option maps to one to one. */
    PQLIBSZHASH* hashRef() { return &pHash_; }

private:
    PQLIBSZHASH pHash_;
};

/* A record as its family's StructToJson gives it, with every key. */
Json::Value recordJson(const VURO_TARN_OU* p);
Json::Value recordJson(const VURO_TARN_PEER* p);
Json::Value recordJson(const VURO_TARN_GPO* p);
Json::Value recordJson(const VURO_TARN_DELEGATE* p);

/* A list of records as a JSON array, in list order. */
template <class Rec>
Json::Value listJson(const Rec* p) {
    Json::Value j(Json::arrayValue);
    for (; p != nullptr; p = p->pNext) j.append(recordJson(p));
    return j;
}

/* A list from a query, in the order of the query's rows. */
template <class Rec>
Json::Value listJsonReversed(const Rec* p) {
    Json::Value j = listJson(p);
    Json::Value out(Json::arrayValue);
    for (Json::ArrayIndex i = j.size(); i > 0; i--) out.append(j[i - 1]);
    return out;
}

int cmdInit(const Args& args);
int cmdPasswd(const Args& args);
int cmdOu(const std::string& verb, const Args& args);
int cmdPeer(const std::string& verb, const Args& args);
int cmdGpo(const std::string& verb, const Args& args);
int cmdDelegate(const std::string& verb, const Args& args);
int cmdTree(const Args& args);
int cmdView(const Args& args);
int cmdCanManage(const Args& args);
int cmdLink(const Args& args);
int cmdOrder(const Args& args);
int cmdEvaluate(const Args& args);
int cmdConvert(const Args& args);
int cmdDelegates(const std::string& verb, const Args& args);
int cmdDeleteTree(const Args& args);
int cmdLog(const std::string& verb, const Args& args);
int cmdPkg(const std::string& verb, const Args& args);
int cmdPkgClean(const Args& args);
int cmdApp(const std::string& verb, const Args& args);
int cmdInfo(const std::string& verb, const Args& args);
int cmdDiscover(const Args& args);
int cmdWake(const Args& args);
int cmdConnInfo(const Args& args);
int cmdUpdateServer(const Args& args);
int cmdJoin(const Args& args);
int cmdSession(const std::string& verb, const Args& args);
int cmdCachePush(const Args& args);
int cmdNotifyFetch(const Args& args);
int cmdServe(const Args& args);
int cmdServeWorker(const Args& args);
/* The data folder "init" lays a root out from: --data, $TARN_DATA_DIR, the
 * installed one; UsageError when none has the database's schema. */
std::string dataDirFind(const Args& args);

/* A token as the tool shows it (a few characters and its length), and
 * records with their "sid" and "vuro_token" shortened so. */
std::string tokenShort(const std::string& token);
Json::Value tokensShortened(Json::Value j);

/* The non-empty items of a comma list ("a,b"): an option keeps one value,
 * so a list of names or numbers comes as one text. */
std::vector<std::string> splitNames(const std::string& text);
/* A whole number from lo to hi; UsageError for anything else. */
long long parseLongIn(const std::string& text, const char* what, long long lo, long long hi);
/* UsageError naming what when the OU or peer id is not stored. */
void nodeExistsCheck(long id, long type, const char* what);
/* UsageError unless j is a link text, {"order":[{"<idKey>":N,...},...]},
 * each override 0 or 1 when given. */
void linkTextCheck(const Json::Value& j, const char* idKey, const char* what);
/* A stored link text given as an option, compact; UsageError otherwise. */
std::string linkTextParse(const std::string& text, const char* what);

}  // namespace tarncli

#endif
