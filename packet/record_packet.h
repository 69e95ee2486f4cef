// CKezCEPacket: one record as a list of typed properties, and as the bytes that travel between device and desktop.
//
// The bytes (all integers little-endian, nothing aligned; the numbers are in record_packet_format.h):
//
//     offset       size      field
//     0            4         total length in bytes, header and slack included
//     4            4         object identifier of the record, 0 for none
//     8            2         property count N
//     10           16 x N    property entries, ascending by property identifier (unsigned), equal ones as added
//     10 + 16N     variable  data area: the bytes of texts and blobs, in the order of their entries
//     then         rest      zero bytes up to the total length (100 where nothing was deleted)
//
// An entry is the property identifier (4: value type in the low 16 bits, number in the high), the value's length
// (2), flags (2) and the value (8):
//
//     type                    value bytes                             length            data area
//     I2, UI2                 16 bits                                 2                 none
//     I4, UI4, BOOL           32 bits                                 4                 none
//     R8                      IEEE double                             8                 none
//     FILETIME                low, high 32 bits                       8                 none
//     LPWSTR                  sender's address (to be ignored)        2 x (chars + 1)   UTF-16LE text and its zero
//     BLOB                    32-bit byte count, sender's address     count             the bytes
//     any other               the 8 bytes as given                    0                 none
//
// What makes a packet valid:
//   1. It is as long as its length says, at least as long as header and entries, at most kMaxPacketBytes.
//   2. Flags other than 0 mean that the entry has no value and no bytes in the data area.
//   3. A text takes its length field's bytes (the low 16 bits of it, rounded down to whole characters) from the
//      data area, a blob its 32-bit byte count.
//   4. Value bytes that a type does not use, and addresses, must not be read.
//   5. The data ends inside the packet. Entries before one whose data does not are good.
//
// A packet object serves one record in one direction. Sending: PropStart, adds and deletes, PropFini, GetNextBytes
// until it returns 0. Receiving: SetNextBytes for each chunk, GetPropList. It is used by one caller at a time.
//
// Memory: the packet buffer and a received property array come from the local heap, list nodes and received values
// from the ordinary one. All of it belongs to the packet; what the operations hand out is good until the next
// PropStart, PropFini or SetNextBytes, or the end of the packet.
#pragma once

#include <windbase.h>

// One property of the list kept while building. The bytes of its text or blob stand behind it in the same block.
struct PropNode {
    CEPROPVAL prop;
    PropNode* next;
    PropNode* last;    // of the list's head only: the list's last node, because most properties come in order
    DWORD valueBytes;  // how many bytes stand behind the node
};

class CKezCEPacket {
 public:
    CKezCEPacket();
    ~CKezCEPacket();  // not virtual: no packet is deleted through a pointer to a base
    CKezCEPacket(const CKezCEPacket&) = delete;
    CKezCEPacket& operator=(const CKezCEPacket&) = delete;

    // The two virtual operations, in slot order.
    virtual void SetAllowBlobs(BOOL allow);  // whether CEVT_BLOB properties are accepted; TRUE at first
    virtual BOOL PropDelete(
        CEPROPID propid);  // removes the first property of this identifier; TRUE where there was one

    // --- Building ---

    DWORD PropStart(CEOID oid);  // empties the object for the record `oid`; returns the header's size, 10
    // Adds copies of `count` properties; those that ListAdd refuses are left out. Returns the running length.
    DWORD PropAdd(const CEPROPVAL* properties, DWORD count);
    // Adds the value that `value` points at; for CEVT_LPWSTR `value` is the text itself. Returns the running length,
    // -1 for a type that it does not take (blobs among them) or where ListAdd refused.
    INT PropAddValue(CEPROPID propid, const void* value);
    // Adds a text. -1 for a null text and for "-". With any other type the 32 bits of the argument itself are the
    // value, but the two tests are made first all the same: use it for texts. What follows the text is not read.
    INT PropAddString(CEPROPID propid, LPCWSTR text, ...);
    // Adds a date as CEVT_R8 or CEVT_FILETIME (without a shift of zone), a null date as 4501-01-01. -1 otherwise.
    INT PropAddDate(CEPROPID propid, DATE date);
    // Lays out the packet. Returns its length, -1 where memory ran out. The list stays; called again it lays out
    // the list anew (100 bytes longer), to be sent from its start.
    INT PropFini();

    BOOL ListAdd(const CEPROPVAL* property);  // FALSE: refused or out of memory, the list is as it was
    BOOL ListClean();                         // TRUE
    void FreePropNode(PropNode* node);        // of a node that is no longer in the list

    // --- Sending ---

    // Hands out at most `recommend` bytes: *data points into the packet buffer. Returns how many bytes are left.
    DWORD GetNextBytes(BYTE** data, DWORD* bytes, INT recommend);

    // --- Receiving ---

    // Takes in one chunk; the first has four bytes or more. Returns how many bytes are still expected: 0 when the
    // packet is complete and parsed, negative when more came than the header declared. -1 where memory ran out or
    // the chunk was refused. Where more came, memory ran out or bytes were refused, the buffer is gone (see
    // GetPacketBuffer), the list is empty, and every later chunk is refused with -1 until PropStart.
    INT SetNextBytes(const BYTE* data, INT bytes);
    BYTE* GetPacketBuffer() { return m_pPacket; }  // null when there is none
    // Parses the received packet; SetNextBytes calls it. Returns the packet's length, 0 where there is none to
    // parse, -1 where it was refused or memory ran out. Data that ends beyond the packet ends the list before it.
    INT RcvFini();

    // --- Reading ---

    INT GetPropList(CEPROPVAL** properties, WORD* count);  // returns the packet's length
    INT GetPacketBytes() const { return m_PacketBytes; }
    WORD GetPropCount() const { return m_wPropCount; }

    // --- Fingerprint ---

    // A number made of the identifiers and values of the property array, equal for equal records. Sets length and
    // flags of every entry to 0; with `keepPacket` those of a packet that was built are put back.
    DWORD GetCRC32(BOOL keepPacket);

    // --- Releasing ---

    void FreeNewPacketMethod();  // the array and the values of a received packet
    void FreePacketBuffer();     // everything

    // --- Dates ---

    static BOOL IsNullDate(DATE date);    // a year of 1900 or earlier
    static void SetNullDate(DATE* date);  // 4501-01-01 00:00:00

    // The object handler reads the lengths and the count. In every state m_PacketBytes is 0 without a buffer.
    DWORD m_dwAck;          // bytes handed out or taken in so far
    DWORD m_dwPropLen;      // running length of the packet being built
    BYTE* m_pData;          // the data area inside the packet buffer
    BYTE* m_pPacket;        // the packet buffer, owned; or null
    BYTE* m_pRcvPacket;     // m_pPacket while it is a received one, whose array and values have blocks of their own
    INT m_PacketBytes;      // total length of the packet
    DWORD m_dwOid;          // the record's object identifier
    WORD m_wPropCount;      // number of properties
    CEPROPVAL* m_vProps;    // the property array; where pointers have 32 bits, that of a built packet is the buffer's
    PropNode* m_pPropList;  // the list kept while building, sorted
    void* m_pSpare;         // a spare local-heap block that FreePacketBuffer releases; nothing sets it
    BOOL m_bAllowBlobs;     // see SetAllowBlobs

 private:
    void LinkNode(PropNode* node);
    void UnlinkNode(PropNode* before, PropNode* node);
    void FillBuffer();
    void FreeBuffer();
    void FreeReceivedValues();
    INT RefusePacket();
    bool BeginReceiving(const BYTE* data, INT bytes);
    bool ParseEntries();
    WORD ReadableCount() const;
};
