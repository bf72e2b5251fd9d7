/* sim_hostile.cpp - answers of a server that works against its client: a
 * redirect to the trap port (which records whatever reaches it, so a test
 * can prove that no client followed), and answers that drip, never end or
 * are cut in the middle. The call handler of sim_handlers.cpp calls in. */
#include <sys/socket.h>

#include <httplib.h>

#include <memory>

#include "sim.h"
#include "vurocredential_seal.h"

namespace peersim {

namespace {

class TrapRouter : public httplib::Server {
public:
    TrapRouter() {
        svr_sock_ = routerSocket();
        set_payload_max_length(16u << 20);
        set_keep_alive_max_count(kRequestsPerConnection);
        set_keep_alive_timeout(kKeepAliveSeconds);
        Get(".*", trapped);
        Post(".*", trapped);
        Put(".*", trapped);
        Patch(".*", trapped);
        Delete(".*", trapped);
        Options(".*", trapped);
    }
    bool serve(httplib::Stream& s, bool last, bool& closed) {
        return process_request(s, last, closed, nullptr);
    }

private:
    // A token of any simulated server anywhere in what arrived.
    static bool tokenIn(const httplib::Request& req) {
        for (const auto& sv : sim().servers) {
            const std::string& t = sv->token;
            if (t.empty()) continue;
            if (req.target.find(t) != std::string::npos || req.body.find(t) != std::string::npos) {
                return true;
            }
            for (const auto& h : req.headers) {
                if (h.second.find(t) != std::string::npos) return true;
            }
        }
        return false;
    }

    static void trapped(const httplib::Request& req, httplib::Response& res) {
        Json::Value e;
        e["kind"] = "trap";
        e["method"] = req.method;
        e["path"] = req.path;
        e["access_token_header"] = req.has_header(VUROCRED_HDR_ACCESS_TOKEN);
        e["csrf_token_header"] = req.has_header(VUROCRED_HDR_CSRF_TOKEN);
        e["key_id_header"] = req.has_header(VUROCRED_HDR_KEY_ID);
        e["body_bytes"] = (Json::UInt64)req.body.size();
        e["token_seen"] = tokenIn(req);
        sim().record.add(e);
        // A client that followed would believe it: the record is the proof.
        res.set_content("{\"success\":true,\"data\":{\"trapped\":true}}", "application/json");
    }
};

TrapRouter& trap() {
    static TrapRouter t;
    return t;
}

}  // namespace

int routerSocket() {
    // Unbound and never used for traffic: it only has to be a socket.
    static const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    return fd;
}

bool trapRequestServe(httplib::Stream& stream, bool last, bool& closed) {
    return trap().serve(stream, last, closed);
}

bool hostileRedirect(const Modes& m, const std::string& path, Json::Value& e,
                     httplib::Response& res) {
    if (!m.redirect) return false;
    e["outcome"] = "redirected";
    sim().record.add(e);
    // 307 keeps method and body: a client that followed would send the call again.
    res.status = 307;
    res.set_header("Location", "http://127.0.0.1:" + std::to_string(sim().trapPort) + path);
    res.set_content("{\"success\":false,\"error\":{\"code\":307}}", "application/json");
    return true;
}

void hostileDeliver(const Modes& m, long long seq, const std::string& text, const char* type,
                    httplib::Response& res) {
    Record& record = sim().record;
    if (m.endless) {
        record.update(seq, "delivery", "endless");
        // Starts like an answer and goes on as one long text: only its
        // size gives it away.
        auto sent = std::make_shared<long long>(0);
        res.set_chunked_content_provider(
            type,
            [sent](size_t, httplib::DataSink& sink) {
                static const std::string head = "{\"success\":true,\"data\":\"";
                static const std::string chunk(64 * 1024, 'x');
                const std::string& part = *sent == 0 ? head : chunk;
                if (!sink.write(part.data(), part.size())) return false;
                *sent += (long long)part.size();
                return true;
            },
            [seq, sent](bool) { sim().record.update(seq, "sent_bytes", (Json::Int64)*sent); });
        return;
    }
    if (m.cutAnswer) {
        record.update(seq, "delivery", "cut");
        res.set_content_provider(text.size(), type,
                                 [text](size_t, size_t, httplib::DataSink& sink) {
                                     sink.write(text.data(), text.size() / 2);
                                     connDrop();
                                     return false;
                                 });
        return;
    }
    if (m.dripMs > 0) {
        record.update(seq, "delivery", "drip");
        long long ms = m.dripMs;
        auto sent = std::make_shared<long long>(0);
        res.set_content_provider(
            text.size(), type,
            [text, ms, sent](size_t offset, size_t, httplib::DataSink& sink) {
                // Gone while we held: nothing more to write.
                if (!connHold(ms, [] { return true; })) return false;
                if (!sink.write(text.data() + offset, 1)) return false;
                ++*sent;
                return true;
            },
            [seq, sent](bool) { sim().record.update(seq, "sent_bytes", (Json::Int64)*sent); });
        return;
    }
    res.set_content(text, type);
}

}  // namespace peersim
