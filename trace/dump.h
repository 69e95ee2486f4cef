// Dumps: the engine's structures, property values, packets and raw bytes, written into the trace log.
//
// Each takes the level that a message has, the label that begins its lines, and what to write; each returns at once
// where the level is not wanted. A null structure writes nothing (a null value says so). Pointers are shown as the
// low 32 bits of their address. The wide type names stand behind a narrow "%s" on purpose: only their first
// character shows.
#pragma once

#include <cesync.h>

class CKezCEPacket;

INT dbglogREPLSETUP(LONG level, LPCSTR label, const REPLSETUP* setup);
INT dbglogFINDOBJINFO(LONG level, LPCSTR label, const FINDOBJINFO* find);
INT dbglogOBJNOTIFY(LONG level, LPCSTR label, const OBJNOTIFY* notify);
INT dbglogCEPROPVAL(LONG level, LPCSTR label, const CEPROPVAL* value);

// The line of the OBJNOTIFY dump that names a kind of object (OBJTYPE_*), for dumps of object information.
INT dbglogObjType(LONG level, LPCSTR label, WORD objType);

// The packet's size, its property count and each property of its array.
INT dbglogCP(LONG level, LPCSTR label, CKezCEPacket* packet);

// Writes `length` bytes to the start of "\dbgdump.txt", without cutting off what an earlier dump left behind them.
// Returns the number of bytes written, -1 where the file cannot be opened.
INT dbglogBuffer(LONG level, const void* buffer, DWORD length);
