/* vurotarn_secret.cpp - the process's remembered secrets and their
 * shortening in traced text. Bounded: a long-lived process that stored many
 * peers keeps the latest ones. */
#include "common/vurotarn_secret_int.h"

#include <deque>
#include <mutex>
#include <set>

namespace {

const size_t kMaxSecrets = 4096;
// Shorter values are no credential, and would be found by chance.
const size_t kMinSecret = 8;

std::mutex gMutex;
std::set<std::string> gSecrets;
std::deque<std::string> gOrder;

std::string shortened(const std::string& s) {
    return s.substr(0, 4) + "...(" + std::to_string(s.size()) + " chars)";
}

}  // namespace

void vurotarnSecretNote(const std::string& strSecret) {
    if (strSecret.size() < kMinSecret) return;
    try {
        std::lock_guard<std::mutex> lock(gMutex);
        if (!gSecrets.insert(strSecret).second) return;
        gOrder.push_back(strSecret);
        if (gOrder.size() > kMaxSecrets) {
            gSecrets.erase(gOrder.front());
            gOrder.pop_front();
        }
    } catch (...) {
        // Out of memory: the trace then shows what it would have anyway.
    }
}

std::string vurotarnSecretsShortened(const std::string& strText) {
    std::string out = strText;
    try {
        std::lock_guard<std::mutex> lock(gMutex);
        for (const std::string& s : gSecrets) {
            for (size_t at = out.find(s); at != std::string::npos; at = out.find(s, at + 1)) {
                out.replace(at, s.size(), shortened(s));
            }
        }
    } catch (...) {
        return strText;
    }
    return out;
}
