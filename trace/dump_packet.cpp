// The dump of a record packet.
#include "packet/record_packet.h"
#include "trace/dump.h"
#include "trace/trace_log.h"
#include "trace/trace_state.h"

INT dbglogCP(LONG level, LPCSTR label, CKezCEPacket* packet) {
    if (!TraceWanted(level) || !packet) return 0;
    dbglog(level, "%s->dlglogCP+", label);
    dbglog(level, "%s->GetPacketBytes=%ld", label, packet->GetPacketBytes());
    dbglog(level, "%s->GetPropCount=%ld", label, packet->GetPropCount());
    CEPROPVAL* properties = nullptr;
    WORD count = 0;
    packet->GetPropList(&properties, &count);
    for (WORD i = 0; properties && i < count; ++i) dbglogCEPROPVAL(level, label, &properties[i]);
    dbglog(level, "%s->dlglogCP-", label);
    return 0;
}
