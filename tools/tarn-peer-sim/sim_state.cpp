/* sim_state.cpp - the simulator's state shared by all threads: the modes of
 * a server (checked before they are taken), the bounded record with its
 * in-flight count, and the look-up of a server by index or serial. */
#include <stdlib.h>
#include <time.h>

#include "sim.h"

namespace peersim {

namespace {

long long startMs() {
    static const long long start = [] {
        struct timespec ts;
        clock_gettime(CLOCK_MONOTONIC, &ts);
        return (long long)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
    }();
    return start;
}

long long sinceStartMs() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (long long)ts.tv_sec * 1000 + ts.tv_nsec / 1000000 - startMs();
}

Json::Value setJson(const std::set<std::string>& names) {
    Json::Value a(Json::arrayValue);
    for (const std::string& n : names) a.append(n);
    return a;
}

bool setRead(const Json::Value& v, std::set<std::string>* pOut) {
    if (!v.isArray()) return false;
    std::set<std::string> out;
    for (const Json::Value& item : v) {
        if (!item.isString()) return false;
        out.insert(item.asString());
    }
    *pOut = out;
    return true;
}

}  // namespace

Json::Value Modes::toJson() const {
    Json::Value v;
    v["refuse_https"] = refuseHttps;
    v["refuse_http"] = refuseHttp;
    v["foreign_cert"] = foreignCert;
    v["fail_discovery"] = failDiscovery;
    v["close_after_discovery"] = closeAfterDiscovery;
    v["hang"] = hang;
    v["not_json"] = notJson;
    v["tamper"] = tamper;
    v["no_success"] = noSuccess;
    v["no_hostname"] = noHostname;
    v["garbled"] = garbled;
    v["plain_on_https"] = plainOnHttps;
    v["wrong_name_cert"] = wrongNameCert;
    v["redirect"] = redirect;
    v["endless"] = endless;
    v["cut_answer"] = cutAnswer;
    v["drip_ms"] = (Json::Int64)dripMs;
    v["spoil_discovery"] = spoilDiscovery;
    if (hasDiscoveryAnswer) v["discovery_answer"] = discoveryAnswer;
    if (hasCallAnswer) v["call_answer"] = callAnswer;
    v["delay_ms"] = (Json::Int64)delayMs;
    v["fail_code"] = failCode;
    v["drop_api"] = setJson(dropApi);
    v["form_api"] = setJson(formApi);
    return v;
}

bool Modes::merge(const Json::Value& js, std::string* pWhy) {
    Modes next = *this;
    struct Flag {
        const char* key;
        bool* where;
    };
    const Flag flags[] = {
        {"refuse_https", &next.refuseHttps},
        {"refuse_http", &next.refuseHttp},
        {"foreign_cert", &next.foreignCert},
        {"fail_discovery", &next.failDiscovery},
        {"close_after_discovery", &next.closeAfterDiscovery},
        {"hang", &next.hang},
        {"not_json", &next.notJson},
        {"tamper", &next.tamper},
        {"no_success", &next.noSuccess},
        {"no_hostname", &next.noHostname},
        {"garbled", &next.garbled},
        {"plain_on_https", &next.plainOnHttps},
        {"wrong_name_cert", &next.wrongNameCert},
        {"redirect", &next.redirect},
        {"endless", &next.endless},
        {"cut_answer", &next.cutAnswer},
        {"spoil_discovery", &next.spoilDiscovery},
    };
    for (const std::string& key : js.getMemberNames()) {
        const Json::Value& v = js[key];
        bool known = false;
        for (const Flag& f : flags) {
            if (key != f.key) continue;
            known = true;
            if (!v.isBool()) {
                *pWhy = key + " wants true or false";
                return false;
            }
            *f.where = v.asBool();
        }
        if (known) continue;
        if (key == "delay_ms" || key == "fail_code" || key == "drip_ms") {
            if (!v.isIntegral() || v.asInt64() < 0 || v.asInt64() > 3600000) {
                *pWhy = key + " wants a number from 0";
                return false;
            }
            if (key == "delay_ms") next.delayMs = v.asInt64();
            if (key == "fail_code") next.failCode = v.asInt();
            if (key == "drip_ms") next.dripMs = v.asInt64();
        } else if (key == "discovery_answer") {
            // Any JSON at all: wrong shapes are the point.
            next.hasDiscoveryAnswer = true;
            next.discoveryAnswer = v;
        } else if (key == "call_answer") {
            next.hasCallAnswer = true;
            next.callAnswer = v;
        } else if (key == "drop_api" || key == "form_api") {
            if (!setRead(v, key == "drop_api" ? &next.dropApi : &next.formApi)) {
                *pWhy = key + " wants an array of API names";
                return false;
            }
        } else {
            *pWhy = "unknown mode " + key;
            return false;
        }
    }
    *this = next;
    return true;
}

long long Record::add(Json::Value entry) {
    std::lock_guard<std::mutex> lock(mu_);
    long long seq = nextSeq_++;
    entry["seq"] = (Json::Int64)seq;
    entry["t_ms"] = (Json::Int64)sinceStartMs();
    entries_.push_back(std::move(entry));
    while (entries_.size() > limit_) {
        entries_.pop_front();
        dropped_++;
    }
    return seq;
}

void Record::update(long long seq, const std::string& key, const Json::Value& value) {
    std::lock_guard<std::mutex> lock(mu_);
    if (entries_.empty()) return;
    long long first = entries_.front()["seq"].asInt64();
    if (seq < first || seq - first >= (long long)entries_.size()) return;
    entries_[(size_t)(seq - first)][key] = value;
}

Json::Value Record::query(int server, const std::string& kind, long long since) {
    std::lock_guard<std::mutex> lock(mu_);
    Json::Value out;
    Json::Value& list = out["record"] = Json::arrayValue;
    for (const Json::Value& e : entries_) {
        if (e["seq"].asInt64() < since) continue;
        if (server >= 0 && (!e.isMember("server") || e["server"].asInt() != server)) continue;
        if (!kind.empty() && e["kind"].asString() != kind) continue;
        list.append(e);
    }
    out["in_flight"] = inFlight_;
    out["max_in_flight"] = maxInFlight_;
    out["next_seq"] = (Json::Int64)nextSeq_;
    out["dropped"] = (Json::Int64)dropped_;
    return out;
}

void Record::clear() {
    std::lock_guard<std::mutex> lock(mu_);
    // The numbering goes on, so a caller's "since" stays meaningful.
    entries_.clear();
    dropped_ = 0;
    maxInFlight_ = inFlight_;
}

int Record::callBegin() {
    std::lock_guard<std::mutex> lock(mu_);
    inFlight_++;
    if (inFlight_ > maxInFlight_) maxInFlight_ = inFlight_;
    return inFlight_;
}

void Record::callEnd() {
    std::lock_guard<std::mutex> lock(mu_);
    inFlight_--;
}

Server* Sim::find(const std::string& key) {
    if (!key.empty() && key.size() < 10 &&
        key.find_first_not_of("0123456789") == std::string::npos) {
        size_t i = (size_t)atol(key.c_str());
        return i < servers.size() ? servers[i].get() : nullptr;
    }
    for (auto& sv : servers) {
        if (sv->sn == key) return sv.get();
    }
    return nullptr;
}

Sim& sim() {
    static Sim s;
    return s;
}

}  // namespace peersim
