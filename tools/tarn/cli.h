/* cli.h - what the tarn commands share: argument parsing, failure exits
 * and JSON output. Each command family lives in its own cmd_*.cpp. */
#ifndef TARN_CLI_H
#define TARN_CLI_H

#include <json/json.h>

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

/* "--key value" pairs, "--flag" alone, and positionals from argv[first] on. */
Args parseArgs(int argc, char** argv, int first);
long parseLong(const std::string& text, const char* what);
unsigned long long parseULongLong(const std::string& text, const char* what);
/* The text as compact JSON; UsageError when it is not JSON. */
std::string parseJsonText(const std::string& text, const char* what);
/* The one positional id of "get", "set", "delete". */
long singleId(const Args& args, const char* what);
/* A failed operation: message (with the platform error store) and exit 1. */
[[noreturn]] void fail(const std::string& what);
void printJson(const Json::Value& j);

int cmdInit(const Args& args);
int cmdOu(const std::string& verb, const Args& args);

}  // namespace tarncli

#endif
