/* vurotarnpeer_scout.h - servers found on the LAN through the discovery
 * library, the status a peer takes from its answer, and waking a server by
 * its MAC addresses through the platform's wake tool. */
#ifndef VUROTARNPEER_SCOUT_H
#define VUROTARNPEER_SCOUT_H

#include <scout.h>

#include <string>
#include <vector>

#include "vurotarn_type.h"

/* The wake tool, run once per interface with "--wake MAC IF". */
#define VUROTARN_WAKE_TOOL "/usr/vuro/sbin/vuronet"

/* The peer status of a discovery state (ulConfigured 0..7 give 1..8), 0
 * for a state outside the table. */
VUROTARN_API int VUROTARNPeerStatusFromScout(u_int32_t ulConfigured);

/* One scan. With no serials every server seen is appended to retNasInfo;
 * otherwise retNasInfo has one slot per serial, in their order, zeroed
 * where no server answered. 0, or -1 (a serial given twice: before any
 * packet is sent; the scan could not run). */
VUROTARN_API int VUROTARNPeerGetScoutInfoBySN(std::vector<std::string>& vSerials,
                                              std::vector<NASINFO>& retNasInfo);
/* The same for stored peers, in the order of vID; an empty vID is filled
 * with the ids of all peers first. */
VUROTARN_API int VUROTARNPeerGetScoutInfoByID(std::vector<long>& vID,
                                              std::vector<NASINFO>& retNasInfo);
/* One scan, then the status of each peer that answered is stored (an empty
 * vID means all peers, and is filled). */
VUROTARN_API int VUROTARNPeerUpdateScoutStatusByID(std::vector<long>& vID);

/* A wake packet for one MAC ("aa-bb-..." or "aa:bb:...") out of every
 * interface: 0 once every interface was tried, -1 for an address that does
 * not parse or no interface. */
VUROTARN_API int VUROTARNPeerWakeOnLan(const char* szMac);
/* The same for each MAC of the peer's network information ("nif" items
 * with a "mac"). */
VUROTARN_API int VUROTARNPeerWakeOnLanByID(long id);

/* The scan's tables outside a scan, for the benchmark and fuzz targets:
 * Begin sets them up as a scan does before its first packet (-1 for a
 * serial given twice), Answer runs one answer through the acceptance and
 * the adding of the scan (1 added or dropped as the scan would, 0 not
 * accepted, -1 for NULL), End lets go of retNasInfo. */
VUROTARN_API int VUROTARNPeerScoutBegin(std::vector<std::string>& vSerials,
                                        std::vector<NASINFO>& retNasInfo);
VUROTARN_API int VUROTARNPeerScoutAnswer(const NASINFO* pnasinfo);
VUROTARN_API void VUROTARNPeerScoutEnd();

#endif
