/* secrets.cpp - the check that no token or session id of a test stands
 * whole in what anyone can read afterwards: the syslog lines of the test
 * and of its children (the root's log file) and what the programs it ran
 * printed. A leak fails the test that caused it, at its end. */
#include <vurocgi.h>
#include <vurojson.h>

#include <set>
#include <sstream>

#include "peer_sim.h"
#include "tarn_test.h"

namespace tarntest {

namespace {

std::set<std::string>& notes() {
    static std::set<std::string> secrets;
    return secrets;
}

size_t gTokensSeen = 0;

/* Shorter texts would be found by chance in any line. */
const size_t kMinSecret = 8;

/* Lines that print a far side's answer or a join entry as it came: an
 * operator needs them whole to follow a failed exchange. */
const char* const kWholeOnPurpose[] = {
    "response is invalid",
    "credential fail",
    "create server fail[",
    "parse response fail",
};

bool onPurpose(const std::string& line) {
    for (const char* piece : kWholeOnPurpose) {
        if (line.find(piece) != std::string::npos) return true;
    }
    return false;
}

std::set<std::string> secretsNow() {
    std::set<std::string> all = notes();
    const std::vector<std::string>& tokens = PeerSim::tokensHandedOut();
    for (size_t i = gTokensSeen; i < tokens.size(); i++) all.insert(tokens[i]);
    // The session ids of the store as the test leaves it.
    const char* root = getenv("VURO_SYSROOT");
    if (root != nullptr) {
        std::istringstream lines(readFile(std::string(root) + VUROCGI_SESSION_FILE));
        for (std::string line; std::getline(lines, line);) {
            Json::Value js;
            // A store a test broke on purpose holds lines of any shape.
            if (vurojson::fromString(js, line) && js.isObject() && js["id"].isString()) {
                all.insert(js["id"].asString());
                // A console session keeps its CSRF token in its extra text.
                Json::Value extra;
                if (js["extra"].isString() && vurojson::fromString(extra, js["extra"].asString()) &&
                    extra.isObject() && extra["csrf"].isString()) {
                    all.insert(extra["csrf"].asString());
                }
            }
        }
    }
    for (auto it = all.begin(); it != all.end();) {
        it = it->size() < kMinSecret ? all.erase(it) : std::next(it);
    }
    return all;
}

void scan(const std::set<std::string>& secrets, const std::string& where, const std::string& text,
          std::vector<std::string>* pLeaks) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (onPurpose(line)) continue;
        for (const std::string& secret : secrets) {
            if (line.find(secret) != std::string::npos) {
                pLeaks->push_back(where + ": " + line);
                break;
            }
        }
    }
}

}  // namespace

void secretNote(const std::string& secret) { notes().insert(secret); }

std::string& programOutputs() {
    static std::string text;
    return text;
}

void secretsReset() {
    notes().clear();
    programOutputs().clear();
    gTokensSeen = PeerSim::tokensHandedOut().size();
}

std::vector<std::string> secretLeaks() {
    std::vector<std::string> leaks;
    std::set<std::string> secrets = secretsNow();
    if (secrets.empty()) return leaks;
    std::string path = logFilePath();
    if (!path.empty()) scan(secrets, "the log", readFile(path), &leaks);
    scan(secrets, "a program's output", programOutputs(), &leaks);
    return leaks;
}

}  // namespace tarntest
