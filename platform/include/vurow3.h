/* vurow3.h - the local web server stand-in: its two ports, read from the web
 * server's description file (a JSON object with "port" and "ssl": {"port"}).
 * The one reader of that file; libtarn's admin-port call leans on it too. */
#ifndef VUROW3_H
#define VUROW3_H

#include "vurocore.h"

#define VUROW3_KELP_CONF_PATH "/usr/vuro/etc/www/KELP.json"

#ifdef __cplusplus
extern "C" {
#endif

#define VUROW3_HAS_HTTP 0x1
#define VUROW3_HAS_HTTPS 0x2
/* Reads the description file (under the system root). A port member that
 * is a number fitting an int is written to its pointer and sets its bit in
 * the result; absent, unreadable or of another type: untouched, bit clear.
 * -1 for a NULL pointer. */
VURO_EXPORT int VUROW3KelpPortsRead(int* piHttpPort, int* piHttpsPort);

#ifdef __cplusplus
}

namespace vurow3 {

/* The web server's configuration as it stands when the engine is made. */
class VURO_EXPORT Engine {
public:
    Engine();
    /* Reads the description file again. */
    void Reload();
    int HttpPort() const { return iHttp_; }
    int HttpsPort() const { return iHttps_; }

private:
    int iHttp_;
    int iHttps_;
};

/* The server's own web front: its HTTP and HTTPS ports, 0 when the file
 * does not give one. Built on an engine, which it takes over (NULL: one of
 * its own). */
class VURO_EXPORT KELP {
public:
    explicit KELP(Engine* pEngine = NULL);
    ~KELP();
    KELP(const KELP&) = delete;
    KELP& operator=(const KELP&) = delete;
    int GetHttpPort() const;
    int GetHttpsPort() const;

private:
    Engine* pEngine_;
};

}  // namespace vurow3
#endif

#endif
