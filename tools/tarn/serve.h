/* serve.h - what the pieces of "tarn serve" share: the front (HTTPS,
 * static files, the sign-in throttle), its pool of worker processes and
 * the worker's side of their channel, and the certificate "tarn init"
 * makes for it. */
#ifndef TARN_SERVE_H
#define TARN_SERVE_H

#include <sys/types.h>

#include <json/json.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tarncli {

/* Where the service's certificate and key lie below the root. */
const char kServeCertPath[] = "/etc/tarn/serve.crt";
const char kServeKeyPath[] = "/etc/tarn/serve.key";
/* The web-session store's app name of console sessions. */
const char kConsoleApp[] = "VURO.TARN.Console";
/* The worker's end of its channel, as the front hands it over. */
const int kWorkerFd = 3;

/* Makes a self-signed certificate for localhost and 127.0.0.1 with its
 * key (0600) under the root, unless both are there already. false with
 * the cause in *pWhy. */
bool serveCertMake(std::string* pWhy);

/* "tarn serve-worker": answers the front's requests on kWorkerFd until it
 * closes. */
int serveWorkerRun();

/* One message of the channel: a 4-byte big-endian length, then that many
 * bytes of JSON. A message over the limit, a short read or text that is no
 * JSON object: false. */
bool frameWrite(int fd, const Json::Value& j);
bool frameRead(int fd, Json::Value* pJ, size_t limit);

/* The worker processes of the front. call() sends one request to an idle
 * worker and gives its answer; every failure comes back as an HTTP status
 * in the answer (503 queue full, 504 too slow, 500 the worker died), so
 * the caller only has to pass it on. */
class WorkerPool {
public:
    WorkerPool(size_t workers, size_t queueMax, int timeoutSeconds);
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /* Starts the workers; false with the cause when one cannot start. */
    bool start(std::string* pWhy);
    /* {"status": N, "body": {...}, ...} as the worker answered it. */
    Json::Value call(const Json::Value& request);
    /* On a stop signal: new and queued requests get 503, the workers of
     * requests in flight are told to end. */
    void interrupt();
    /* Closes every channel, waits a moment for the workers to end, kills
     * those that do not and reaps all of them. */
    void stop();

private:
    struct Worker {
        pid_t pid = -1;
        int fd = -1;
        bool busy = false;
    };
    bool spawn(Worker* pW);
    void retire(Worker* pW, bool kill);
    bool alive(const Worker& w) const;
    void janitorRun();

    std::vector<Worker> workers_;
    std::string exe_;
    size_t queueMax_;
    int timeoutSeconds_;
    size_t waiting_ = 0;
    bool stopping_ = false;
    std::mutex mutex_;
    std::condition_variable idle_;
    std::condition_variable janitorWake_;
    std::thread janitor_;
};

}  // namespace tarncli

#endif
