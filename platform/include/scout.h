/* scout.h - the discovery stand-in: one UDP scan that sends a request and
 * hands every answer that arrives within the window to the caller's
 * callbacks, the NASINFO record of one answering server, and the datagram
 * format both sides speak (parser and writer, shared with the simulator).
 *
 * Datagram, all numbers big-endian:
 *   bytes 0-3  magic "VSCT"
 *   byte  4    format version, 1
 *   byte  5    0 (reserved)
 *   bytes 6-7  number of fields that follow
 *   fields     id (2 bytes), length (2 bytes), value (length bytes)
 * A number field holds 4 bytes; a text field holds its bytes without a
 * terminator, shorter than its NASINFO member. Unknown ids are skipped, a
 * field given twice keeps its last value, and the fields must fill the
 * datagram exactly: anything else does not parse and is dropped.
 *
 * /etc/vuro/scout.conf (key=value, under the system root) overrides the
 * caller's sides: recv_ip, recv_port (0: a free port), send_ip, send_port,
 * listen_ms (the receiving window), send_ms. With VURO_NET_LOOPBACK_ONLY=1
 * the receiving side binds 127.0.0.1 whatever it names, and the request's
 * destination goes through the loopback guard. */
#ifndef SCOUT_H
#define SCOUT_H

#include <stddef.h>
#include <sys/types.h>

#include "vurocore.h"

#define SCOUT_CONF_PATH "/etc/vuro/scout.conf"

#define SCOUT_MAGIC "VSCT"
#define SCOUT_FORMAT_VERSION 1
#define SCOUT_HEADER_SIZE 8
/* The largest datagram either side writes or reads. */
#define SCOUT_MAX_DATAGRAM 1400

/* Field ids of the datagram. 164 to 166 are the optional answer fields a
 * request asks for by listing them in its packet ids; an answer carries
 * the others always. */
#define SCOUT_FIELD_PACKET_TYPE 1
#define SCOUT_FIELD_SCOUT_VERSION 2
#define SCOUT_FIELD_EXPIRE_TIME 3
#define SCOUT_FIELD_PKT_ID 4 /* repeated: one per packet id of a request */
#define SCOUT_FIELD_MAC 16
#define SCOUT_FIELD_SERIAL 17
#define SCOUT_FIELD_IP 18
#define SCOUT_FIELD_CONFIGURED 164
#define SCOUT_FIELD_SERVER_NAME 165
#define SCOUT_FIELD_MODEL 166

/* Kinds of packet (ulPacketType). Bit 4 marks an answer repeated by a
 * relay on the way; 3 is a server telling it goes away. */
#define SCOUT_PKT_REQUEST 1
#define SCOUT_PKT_ANSWER 2
#define SCOUT_PKT_GOODBYE 3
#define SCOUT_PKT_RELAYED 4

/* States of a server (ulConfigured), in the order of its life. */
#define SCOUT_STATE_NEW 0
#define SCOUT_STATE_READY 1
#define SCOUT_STATE_BOOTING 5

#define SCOUT_MAX_PKTID 16

#ifdef __cplusplus
extern "C" {
#endif

/* One server as an answer tells it. Fixed-size fields only, so a zeroed
 * record is an empty slot and a record copies whole. */
typedef struct _tag_NASINFO {
    char szMac[32];        /* MAC of the answering interface, "AA:BB:CC:DD:EE:FF" */
    char szNewSerial[64];  /* the server's serial; "" in a slot no server filled */
    char szServerName[64]; /* its host name */
    char szModel[64];
    char szIP[64]; /* the address it answered from */
    u_int32_t ulPacketType;
    u_int32_t ulConfigured;
    u_int32_t ulScoutVersion;
    u_int32_t ulExpireTime;
} NASINFO, *PNASINFO;

/* A datagram as parsed: the record and, for a request, its packet ids. */
typedef struct _tag_SCOUTPACKET {
    NASINFO info;
    u_int32_t rgPktID[SCOUT_MAX_PKTID];
    int cPktID;
} SCOUTPACKET;

/* Log routing: one function per priority (0 to 7). */
typedef void (*SCOUT_LOG_FUNC)(const char* szText);
typedef struct _tag_SCOUTLOG {
    SCOUT_LOG_FUNC rgFunc[8];
} SCOUTLOG;

/* One side of a scan. */
typedef struct _tag_SCOUTCONN {
    char szDestIP[64];
    int iPort;
    int iTimeoutSec;
    int iTimeoutMSec;
    int (*pfuncIsCancel)(void); /* non-zero ends the scan early */
    SCOUTLOG* pfunLogOp;
} SCOUTCONN;

typedef struct _tag_SCOUTRECV {
    void (*pfuncLocker)(int blLock); /* around each pair of callbacks, when set */
    int (*pfuncIsAccept)(const NASINFO* pnasinfo);
    int (*pfuncAdd)(const NASINFO* pnasinfo);
    void (*pfuncUpdateProgress)(int cAccepted);
} SCOUTRECV;

typedef struct _tag_SCOUTSEND {
    NASINFO* pnasInfo; /* the request's values */
    u_int32_t rgPktID[SCOUT_MAX_PKTID];
    int cPktID;
} SCOUTSEND;

/* Routes text of one priority to func (NULL: none). 0, or -1. */
VURO_EXPORT int SCOUTLogFuncSet(SCOUTLOG* pLog, int iPriority, SCOUT_LOG_FUNC func);
/* The console route: the text and a line end on standard error. */
VURO_EXPORT void SCOUTLogDefConsole(const char* szText);
/* Formats and hands the text to the function of that priority, if any. */
VURO_EXPORT void SCOUTLog(const SCOUTLOG* pLog, int iPriority, const char* szFmt, ...)
    __attribute__((format(printf, 3, 4)));

/* Adds the packet ids first, first + step, ... up to last to the request.
 * flag is reserved and must be 0. 0, or -1 (nothing added) for a step of
 * 0, first above last or more ids than fit. */
VURO_EXPORT int SCOUTSendPktIDAdd(SCOUTLOG* pLog, SCOUTSEND* pSend, u_int32_t first, u_int32_t last,
                                  u_int32_t step, int flag);

/* One scan in the calling thread: binds the receiving side, sends the
 * request to the sending side, then reads datagrams until the receiving
 * window ends; each that parses is offered to pfuncIsAccept and, when that
 * gives 1, to pfuncAdd. 0 when the window ended (or pfuncIsCancel said
 * so), -1 when the socket could not be bound or the request not sent. */
VURO_EXPORT int SCOUTUDPServer(SCOUTCONN* pRecvConn, SCOUTRECV* pRecv, SCOUTCONN* pSendConn,
                               SCOUTSEND* pSend);

/* The datagram in pData as a packet: 0, or -1 when it does not parse (the
 * packet is then zeroed). */
VURO_EXPORT int SCOUTPacketParse(const void* pData, size_t cbData, SCOUTPACKET* pPkt);
/* Writes the packet into pBuf: every non-empty text and non-zero number of
 * its record, then its packet ids. The length, or -1 when it does not fit. */
VURO_EXPORT int SCOUTPacketBuild(const SCOUTPACKET* pPkt, void* pBuf, size_t cbBuf);

#ifdef __cplusplus
}
#endif

#endif
