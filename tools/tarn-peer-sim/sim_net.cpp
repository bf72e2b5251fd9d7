/* sim_net.cpp - the simulator's network frame. One thread accepts on every
 * loopback listener; each connection goes to its server's task pool, whose
 * worker does TLS with OpenSSL and hands the stream to cpp-httplib's request
 * parser. Owning the sockets lets a mode refuse, cut or hold a connection. */
#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <httplib.h>

#include <chrono>
#include <thread>

#include "sim.h"

namespace peersim {

namespace {

const int kReadTimeoutMs = 10000;
const int kKeepAliveMs = kKeepAliveSeconds * 1000;
const auto kWorkerIdle = std::chrono::seconds(2);

thread_local Conn* tlConn = nullptr;

long long nowMs() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (long long)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
}

bool fdWait(int fd, short events, int timeoutMs) {
    long long deadline = nowMs() + timeoutMs;
    for (;;) {
        struct pollfd p = {fd, events, 0};
        long long left = deadline - nowMs();
        int rc = poll(&p, 1, left < 0 ? 0 : (int)left);
        if (rc > 0) return true;
        if (rc == 0 || errno != EINTR) return false;
    }
}

const char* roleProtocol(Role role) { return role == Role::Https ? "https" : "http"; }

void addrOf(int fd, bool peer, std::string& ip, int& port) {
    struct sockaddr_in a = {};
    socklen_t len = sizeof(a);
    int rc = peer ? getpeername(fd, (struct sockaddr*)&a, &len)
                  : getsockname(fd, (struct sockaddr*)&a, &len);
    if (rc != 0) return;
    char buf[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &a.sin_addr, buf, sizeof(buf));
    ip = buf;
    port = ntohs(a.sin_port);
}

// cpp-httplib's view of one connection, plain or TLS.
class ConnStream : public httplib::Stream {
public:
    explicit ConnStream(Conn& c) : c_(c) {}

    bool is_readable() const override {
        if (c_.dropped) return false;
        if (c_.ssl && SSL_pending(c_.ssl) > 0) return true;
        return fdWait(c_.fd, POLLIN, kReadTimeoutMs);
    }
    bool is_writable() const override {
        return !c_.dropped && fdWait(c_.fd, POLLOUT, kReadTimeoutMs);
    }
    ssize_t read(char* ptr, size_t size) override {
        if (!is_readable()) return -1;
        if (c_.ssl) {
            int n = SSL_read(c_.ssl, ptr, (int)std::min(size, (size_t)INT32_MAX));
            return n > 0 ? n : -1;
        }
        for (;;) {
            ssize_t n = recv(c_.fd, ptr, size, 0);
            if (n < 0 && errno == EINTR) continue;
            return n > 0 ? n : -1;
        }
    }
    ssize_t write(const char* ptr, size_t size) override {
        if (c_.dropped) return -1;
        if (c_.ssl) {
            int n = SSL_write(c_.ssl, ptr, (int)std::min(size, (size_t)INT32_MAX));
            return n > 0 ? n : -1;
        }
        for (;;) {
            ssize_t n = send(c_.fd, ptr, size, MSG_NOSIGNAL);
            if (n < 0 && errno == EINTR) continue;
            return n;
        }
    }
    void get_remote_ip_and_port(std::string& ip, int& port) const override {
        addrOf(c_.fd, true, ip, port);
    }
    void get_local_ip_and_port(std::string& ip, int& port) const override {
        addrOf(c_.fd, false, ip, port);
    }
    socket_t socket() const override { return c_.fd; }

private:
    Conn& c_;
};

struct SslFree {
    void operator()(SSL* p) const { SSL_free(p); }
};

// A refused connection: reset at once, as a closed port would.
void connRefuse(int fd) {
    struct linger lg = {1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &lg, sizeof(lg));
    close(fd);
}

}  // namespace

Conn* currentConn() { return tlConn; }

void connDrop() {
    if (tlConn == nullptr || tlConn->dropped) return;
    tlConn->dropped = true;
    shutdown(tlConn->fd, SHUT_RDWR);
}

bool connHold(long long ms, const std::function<bool()>& still) {
    Conn* c = tlConn;
    long long deadline = ms < 0 ? -1 : nowMs() + ms;
    for (;;) {
        if (!still()) return true;
        long long left = deadline < 0 ? 50 : std::min(50LL, deadline - nowMs());
        if (left <= 0) return true;
        if (c == nullptr) {
            std::this_thread::sleep_for(std::chrono::milliseconds(left));
            continue;
        }
        if (c->ssl && SSL_pending(c->ssl) > 0) return false;
        struct pollfd p = {c->fd, (short)(POLLIN | POLLRDHUP), 0};
        int rc = poll(&p, 1, (int)left);
        if (rc > 0) return false;  // the client gave up (or sent more)
    }
}

void TaskPool::enqueue(std::function<void()> fn) {
    std::lock_guard<std::mutex> lock(mu_);
    jobs_.push_back(std::move(fn));
    if (jobs_.size() > idle_ && workers_ < max_) {
        workers_++;
        std::thread(&TaskPool::work, this).detach();
    } else {
        cv_.notify_one();
    }
}

void TaskPool::work() {
    std::unique_lock<std::mutex> lock(mu_);
    for (;;) {
        idle_++;
        bool got = cv_.wait_for(lock, kWorkerIdle, [this] { return !jobs_.empty(); });
        idle_--;
        if (!got) {
            workers_--;
            return;
        }
        std::function<void()> fn = std::move(jobs_.front());
        jobs_.pop_front();
        lock.unlock();
        fn();
        lock.lock();
    }
}

Endpoint listenLoopback(Role role, Server* server, TaskPool* pool, std::string* pWhy) {
    Endpoint ep;
    ep.role = role;
    ep.server = server;
    ep.pool = pool;
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        *pWhy = strerror(errno);
        return ep;
    }
    struct sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = 0;  // any free port
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(addr);
    if (bind(fd, (struct sockaddr*)&addr, sizeof(addr)) != 0 || listen(fd, 256) != 0 ||
        getsockname(fd, (struct sockaddr*)&addr, &len) != 0) {
        *pWhy = strerror(errno);
        close(fd);
        return ep;
    }
    ep.fd = fd;
    ep.port = ntohs(addr.sin_port);
    return ep;
}

void acceptLoop() {
    Sim& s = sim();
    std::vector<struct pollfd> fds;
    for (const Endpoint& ep : s.endpoints) fds.push_back({ep.fd, POLLIN, 0});
    for (;;) {
        int rc = poll(fds.data(), fds.size(), -1);
        if (rc < 0) {
            if (errno == EINTR) continue;
            return;
        }
        for (size_t i = 0; i < fds.size(); i++) {
            if ((fds[i].revents & POLLIN) == 0) continue;
            const Endpoint* ep = &s.endpoints[i];
            for (;;) {
                int fd = accept4(ep->fd, nullptr, nullptr, SOCK_CLOEXEC);
                if (fd < 0) {
                    if (errno == EMFILE || errno == ENFILE) {
                        std::this_thread::sleep_for(std::chrono::milliseconds(1));
                    }
                    break;
                }
                if (ep->server != nullptr) {
                    Modes m = ep->server->snapshot();
                    // A server reached only through the relay never takes HTTPS.
                    if ((ep->role == Role::Https && (m.refuseHttps || ep->server->relayOnly)) ||
                        (ep->role == Role::Http && m.refuseHttp)) {
                        Json::Value e;
                        e["kind"] = "refused";
                        e["server"] = ep->server->index;
                        e["sn"] = ep->server->sn;
                        e["protocol"] = roleProtocol(ep->role);
                        s.record.add(e);
                        connRefuse(fd);
                        continue;
                    }
                }
                int one = 1;
                setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
                struct timeval tv = {kReadTimeoutMs / 1000, 0};
                setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof(tv));
                setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof(tv));
                ep->pool->enqueue([fd, ep] { connServe(fd, ep); });
            }
        }
    }
}

void connServe(int fd, const Endpoint* ep) {
    Conn c;
    c.fd = fd;
    c.ep = ep;
    std::unique_ptr<SSL, SslFree> ssl;
    Modes m = ep->server != nullptr ? ep->server->snapshot() : Modes();
    // "plain_on_https": the HTTPS port answers a handshake with plain HTTP.
    if (ep->role == Role::Https && !m.plainOnHttps) {
        bool foreign = m.foreignCert;
        Tls& tls = sim().tls;
        ssl.reset(SSL_new(foreign ? tls.foreign : m.wrongNameCert ? tls.wrongName : tls.trusted));
        if (!ssl || SSL_set_fd(ssl.get(), fd) != 1 || SSL_accept(ssl.get()) != 1) {
            Json::Value e;
            e["kind"] = "tls";
            e["server"] = ep->server->index;
            e["sn"] = ep->server->sn;
            e["protocol"] = "https";
            e["foreign_cert"] = foreign;
            e["wrong_name_cert"] = m.wrongNameCert;
            e["outcome"] = "handshake_failed";
            sim().record.add(e);
            ERR_clear_error();
            close(fd);
            return;
        }
        c.ssl = ssl.get();
    }
    tlConn = &c;
    ConnStream stream(c);
    for (int left = kRequestsPerConnection; left > 0; left--) {
        bool pending = c.ssl && SSL_pending(c.ssl) > 0;
        if (!pending && !fdWait(fd, POLLIN, kKeepAliveMs)) break;
        bool closed = false;
        if (!requestServe(ep->role, stream, left == 1, closed) || closed || c.closeAfter ||
            c.dropped) {
            break;
        }
    }
    tlConn = nullptr;
    if (c.ssl && !c.dropped) SSL_shutdown(c.ssl);
    ERR_clear_error();
    close(fd);
}

}  // namespace peersim
