/* serve_bench.cpp - what "tarn serve" adds to a request: "ou get" and the
 * managed servers' policy fetch through the HTTPS API, by one client and by
 * 32 at once (a libcurl handle per client, kept alive), beside the same
 * library calls made in this process. Reports requests per second, the
 * time the API adds to one request, and how far 32 clients scale. */
#include <arpa/inet.h>
#include <curl/curl.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>

#include <fstream>

#include "bench_support.h"
#include "serve_fetch.h"
#include "vurojson.h"
#include "vurotarn.h"

namespace {

const char kUser[] = "benchadmin";
const char kPassword[] = "bench-password-1";
const double kMaxOverheadMs = 1.0;
const double kMinScaling = 1.6;

struct Service {
    pid_t pid = -1;
    int port = 0;
    std::string base, cookie, csrf, sid;
    long ouId = 0;
} gSvc;

size_t bodyAppend(char* p, size_t size, size_t n, void* pUser) {
    static_cast<std::string*>(pUser)->append(p, size * n);
    return size * n;
}

/* Keeps "tarn_sid=..." of a Set-Cookie header. */
size_t cookieKeep(char* p, size_t size, size_t n, void* pUser) {
    std::string line(p, size * n);
    const std::string key = "set-cookie:";
    std::string lower = line.substr(0, key.size());
    for (char& c : lower) c = (char)tolower((unsigned char)c);
    if (lower == key) {
        std::string v = line.substr(key.size());
        v.erase(0, v.find_first_not_of(' '));
        *static_cast<std::string*>(pUser) = v.substr(0, v.find(';'));
    }
    return size * n;
}

/* One client: a handle that keeps its connection, checks the service's
 * own certificate and follows nothing. */
struct Client {
    CURL* h = curl_easy_init();
    std::string body;
    curl_slist* apiHeaders = nullptr;
    Client() {
        curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, bodyAppend);
        curl_easy_setopt(h, CURLOPT_WRITEDATA, &body);
        curl_easy_setopt(h, CURLOPT_CAINFO, (tarnbench::sysroot() + "/etc/tarn/serve.crt").c_str());
        curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "https");
        curl_easy_setopt(h, CURLOPT_NOPROXY, "*");
        curl_easy_setopt(h, CURLOPT_FOLLOWLOCATION, 0L);
        curl_easy_setopt(h, CURLOPT_TCP_NODELAY, 1L);
        apiHeaders = curl_slist_append(apiHeaders, "Content-Type: application/json");
        apiHeaders = curl_slist_append(apiHeaders, ("X-CSRF-Token: " + gSvc.csrf).c_str());
        apiHeaders = curl_slist_append(apiHeaders, ("Cookie: " + gSvc.cookie).c_str());
    }
    ~Client() {
        curl_slist_free_all(apiHeaders);
        curl_easy_cleanup(h);
    }
    /* POSTs text to path; the HTTP status, 0 when the exchange failed. */
    long post(const std::string& path, const std::string& text, curl_slist* headers) {
        body.clear();
        curl_easy_setopt(h, CURLOPT_URL, (gSvc.base + path).c_str());
        curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(h, CURLOPT_POSTFIELDS, text.c_str());
        curl_easy_setopt(h, CURLOPT_POSTFIELDSIZE, (long)text.size());
        long status = 0;
        if (curl_easy_perform(h) != CURLE_OK) return 0;
        curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &status);
        return status;
    }
};

std::string fetchForm() {
    CURL* h = curl_easy_init();
    auto esc = [h](const std::string& s) {
        char* e = curl_easy_escape(h, s.c_str(), (int)s.size());
        std::string out = e;
        curl_free(e);
        return out;
    };
    std::string form = "api=VURO.TARN.Policy&version=1&method=get&_sid=" + esc(gSvc.sid) +
                       "&set_versions=" + esc("{\"Samba\":2,\"TimeServer\":2,\"Delegate\":1}");
    curl_easy_cleanup(h);
    return form;
}

std::map<std::string, std::string> fetchFields() {
    return {{"api", "VURO.TARN.Policy"},
            {"version", "1"},
            {"method", "get"},
            {"_sid", gSvc.sid},
            {"set_versions", "{\"Samba\":2,\"TimeServer\":2,\"Delegate\":1}"}};
}

void BM_Library_OuGet(benchmark::State& state) {
    for (auto _ : state) {
        VURO_TARN_OU ou;
        if (VUROTARNOuGet(gSvc.ouId, &ou) != 0) {
            state.SkipWithError("ou get failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Library_PolicyFetch(benchmark::State& state) {
    std::map<std::string, std::string> fields = fetchFields();
    for (auto _ : state) {
        Json::Value answer;
        if (tarncli::webapiEntry(fields, &answer) != 200 || !answer["success"].asBool()) {
            state.SkipWithError("policy fetch failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Api_OuGet(benchmark::State& state) {
    Client c;
    std::string text = "{\"args\":[" + std::to_string(gSvc.ouId) + "]}";
    // The connection and its handshake are made before the clock runs.
    c.post("/api/ou/get", text, c.apiHeaders);
    for (auto _ : state) {
        if (c.post("/api/ou/get", text, c.apiHeaders) != 200) {
            state.SkipWithError(("ou get through the API failed: " + c.body).c_str());
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Api_PolicyFetch(benchmark::State& state) {
    Client c;
    curl_slist* form =
        curl_slist_append(nullptr, "Content-Type: application/x-www-form-urlencoded");
    std::string text = fetchForm();
    c.post("/webapi/entry.cgi", text, form);
    for (auto _ : state) {
        if (c.post("/webapi/entry.cgi", text, form) != 200 ||
            c.body.find("\"success\":true") == std::string::npos) {
            state.SkipWithError(("policy fetch through the API failed: " + c.body).c_str());
            break;
        }
    }
    curl_slist_free_all(form);
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_Library_OuGet)->UseRealTime();
BENCHMARK(BM_Api_OuGet)->UseRealTime()->Threads(1)->Threads(32);
BENCHMARK(BM_Library_PolicyFetch)->UseRealTime();
BENCHMARK(BM_Api_PolicyFetch)->UseRealTime()->Threads(1)->Threads(32);

/* The ratio table, then per operation: requests per second, the time the
 * API adds at one client, and 32 clients against one. */
class ServeReporter : public tarnbench::RatioReporter {
public:
    using RatioReporter::RatioReporter;
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs) {
            if (r.run_type != Run::RT_Iteration || r.error_occurred) continue;
            auto it = r.counters.find("items_per_second");
            if (it != r.counters.end()) rates_[r.benchmark_name()] = it->second.value;
        }
        RatioReporter::ReportRuns(runs);
    }
    void Finalize() override {
        RatioReporter::Finalize();
        printf("\n%-12s %12s %12s %12s %12s %12s\n", "operation", "library/s", "api 1/s",
               "api 32/s", "overhead ms", "32 vs 1");
        for (const char* op : {"OuGet", "PolicyFetch"}) {
            double lib = rate(std::string("BM_Library_") + op + "/real_time");
            double one = rate(std::string("BM_Api_") + op + "/real_time/threads:1");
            double many = rate(std::string("BM_Api_") + op + "/real_time/threads:32");
            if (lib <= 0 || one <= 0) continue;
            double overheadMs = (1.0 / one - 1.0 / lib) * 1000.0;
            double scaling = many > 0 ? many / one : 0;
            printf("%-12s %12.0f %12.0f %12.0f %9.3f %s %9.2fx %s\n", op, lib, one, many,
                   overheadMs, overheadMs <= kMaxOverheadMs ? "ok  " : "OVER", scaling,
                   scaling >= kMinScaling ? "ok" : "UNDER");
        }
        printf(
            "targets: at most %.1f ms added per request at one client; 32 clients at "
            "least %.1fx one\n",
            kMaxOverheadMs, kMinScaling);
    }

private:
    double rate(const std::string& name) {
        auto it = rates_.find(name);
        return it == rates_.end() ? -1 : it->second;
    }
    std::map<std::string, double> rates_;
};

int freeLoopbackPort() {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in a = {};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(a);
    int port = 0;
    if (bind(fd, (struct sockaddr*)&a, sizeof(a)) == 0 &&
        getsockname(fd, (struct sockaddr*)&a, &len) == 0) {
        port = ntohs(a.sin_port);
    }
    close(fd);
    return port;
}

/* Runs the tarn tool on the root with input on its standard input; its
 * exit status. */
int tarnRun(const std::vector<std::string>& args, const std::string& input = "") {
    int in[2];
    if (pipe(in) != 0) return -1;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(in[0], 0);
        close(in[0]);
        close(in[1]);
        int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        std::vector<std::string> all = {TARN_CLI_PATH, "--root", tarnbench::sysroot()};
        all.insert(all.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (std::string& a : all) argv.push_back(&a[0]);
        argv.push_back(nullptr);
        execv(TARN_CLI_PATH, argv.data());
        _exit(127);
    }
    close(in[0]);
    if (!input.empty() && write(in[1], input.data(), input.size()) < 0) {
        // The tool then reads an empty line and says why.
    }
    close(in[1]);
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void fileWrite(const std::string& path, const std::string& text) {
    std::ofstream out(tarnbench::sysroot() + path, std::ios::trunc);
    out << text;
    tarnbench::setupOrDie((bool)out, ("cannot write " + path).c_str());
}

/* A root laid out by "tarn init" (certificate included), an administrator
 * with a password, a branch with a server that joined, its policy and
 * holders, and the service on a free port, signed in. */
void serviceStart() {
    char tmpl[] = "/tmp/tarn-bench-XXXXXX";
    tarnbench::setupOrDie(mkdtemp(tmpl) != nullptr, "mkdtemp");
    tarnbench::sysroot() = tmpl;
    setenv("VURO_SYSROOT", tmpl, 1);
    tarnbench::setupOrDie(tarnRun({"init", "--data", std::string(TARN_SOURCE_DIR) + "/data"}) == 0,
                          "tarn init");
    fileWrite("/etc/passwd", std::string("root:x:0:0::/root:/bin/sh\n") + kUser +
                                 ":x:1500:101::/:/bin/sh\nalice:x:1026:100::/:/bin/sh\n");
    fileWrite("/etc/group", std::string("users:x:100:\nadministrators:x:101:") + kUser + "\n");
    tarnbench::setupOrDie(tarnRun({"passwd", kUser}, std::string(kPassword) + "\n") == 0,
                          "tarn passwd");

    VURO_TARN_OU ou;
    VUROTARNOuItemSetName(&ou, "Bench branch");
    tarnbench::setupOrDie(VUROTARNOuCreate(&ou) == 0, "ou create");
    gSvc.ouId = ou.id;
    VURO_TARN_PEER peer;
    VUROTARNPeerItemSetSN(&peer, "BENCH-FETCH");
    peer.str_host = "127.0.0.1";
    peer.parent_id = ou.id;
    tarnbench::setupOrDie(VUROTARNPeerCreate(&peer) == 0, "peer create");
    VURO_TARN_GPO gpo;
    gpo.str_name = "Bench shares";
    gpo.parent_id = ou.id;
    gpo.parent_type = VURO_TARN_TYPE_OU;
    gpo.str_setting =
        "{\"gpo_content\":{\"Samba\":{\"vuro_set_version\":3,\"smb_max_protocol\":2,"
        "\"smb_encrypt_transport\":true},\"TimeServer\":{\"vuro_set_version\":2}}}";
    tarnbench::setupOrDie(VUROTARNGpoCreate(&gpo) == 0, "gpo create");
    ou.str_linked_gpo = "{\"order\":[{\"id\":" + std::to_string(gpo.id) + ",\"override\":0}]}";
    tarnbench::setupOrDie(VUROTARNOuSet(&ou) == 0, "link");
    VURO_TARN_DELEGATE del;
    del.user_type = VURO_TARN_TYPE_USER;
    del.ugid = 1026;
    del.target_type = VURO_TARN_TYPE_OU;
    del.target_id = ou.id;
    tarnbench::setupOrDie(VUROTARNDelegateCreate(&del) == 0, "delegate create");
    tarnbench::setupOrDie(VUROTARNPeerCreateSessionBySn("BENCH-FETCH", gSvc.sid), "session");

    gSvc.port = freeLoopbackPort();
    gSvc.base = "https://127.0.0.1:" + std::to_string(gSvc.port);
    gSvc.pid = fork();
    std::string logPath = tarnbench::sysroot() + "/serve.log";
    if (gSvc.pid == 0) {
        // A line per request: kept out of the report, shown when set-up fails.
        int log = open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        dup2(log, 1);
        dup2(log, 2);
        std::string listen = "127.0.0.1:" + std::to_string(gSvc.port);
        execl(TARN_CLI_PATH, TARN_CLI_PATH, "--root", tmpl, "serve", "--listen", listen.c_str(),
              (char*)nullptr);
        _exit(127);
    }
    // Signed in as soon as it answers.
    CURL* h = curl_easy_init();
    std::string body, cookie;
    curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
    Json::Value signin;
    signin["user"] = kUser;
    signin["password"] = kPassword;
    std::string text = vurojson::toString(signin);
    curl_easy_setopt(h, CURLOPT_URL, (gSvc.base + "/api/signin").c_str());
    curl_easy_setopt(h, CURLOPT_CAINFO, (tarnbench::sysroot() + "/etc/tarn/serve.crt").c_str());
    curl_easy_setopt(h, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(h, CURLOPT_POSTFIELDS, text.c_str());
    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, bodyAppend);
    curl_easy_setopt(h, CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(h, CURLOPT_HEADERFUNCTION, cookieKeep);
    curl_easy_setopt(h, CURLOPT_HEADERDATA, &cookie);
    long status = 0;
    for (int i = 0; i < 100 && status != 200; i++) {
        body.clear();
        if (curl_easy_perform(h) == CURLE_OK) {
            curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &status);
        } else {
            usleep(100000);
        }
    }
    curl_slist_free_all(headers);
    curl_easy_cleanup(h);
    Json::Value answer;
    bool signedIn = status == 200 && vurojson::fromString(answer, body) &&
                    answer["csrf"].isString() && !cookie.empty();
    if (!signedIn) {
        std::ifstream log(logPath);
        fprintf(stderr, "tarn serve said:\n%s\n",
                std::string(std::istreambuf_iterator<char>(log), {}).c_str());
    }
    tarnbench::setupOrDie(signedIn, "sign-in at the service");
    gSvc.csrf = answer["csrf"].asString();
    gSvc.cookie = cookie;
}

void serviceStop() {
    if (gSvc.pid <= 0) return;
    kill(gSvc.pid, SIGTERM);
    int status = 0;
    for (int i = 0; i < 100 && waitpid(gSvc.pid, &status, WNOHANG) == 0; i++) usleep(100000);
    if (waitpid(gSvc.pid, &status, WNOHANG) == 0) {
        kill(gSvc.pid, SIGKILL);
        waitpid(gSvc.pid, &status, 0);
    }
}

}  // namespace

int main(int argc, char** argv) {
    setenv("VURO_NET_LOOPBACK_ONLY", "1", 1);
    curl_global_init(CURL_GLOBAL_DEFAULT);
    serviceStart();
    benchmark::Initialize(&argc, argv);
    ServeReporter reporter({
        {"BM_Api_OuGet/real_time/threads:1", "BM_Library_OuGet/real_time", 0},
        {"BM_Api_PolicyFetch/real_time/threads:1", "BM_Library_PolicyFetch/real_time", 0},
    });
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    serviceStop();
    tarnbench::sysrootRemove();
    curl_global_cleanup();
    return 0;
}
