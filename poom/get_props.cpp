// Reads the current item into a property list under the packet's identifiers.
#include "poom/catalogue.h"
#include "poom/ce_poom.h"
#include "poom/item_type.h"
#include "poom/platform_support.h"
#include "trace/trace_log.h"

namespace {

constexpr DWORD kPictureChunk = 32768;

// The picture as far as it has been read, in a local block that the property list takes over.
struct Picture {
    LPBYTE bytes;
    DWORD size;
    DWORD room;
};

// Makes room for one more chunk. A fixed block may be unable to grow where it lies; then the picture moves.
bool Grow(Picture& picture) {
    const DWORD room = picture.room + kPictureChunk;
    HLOCAL grown = LocalReAlloc(picture.bytes, room, LMEM_ZEROINIT);
    if (grown == nullptr) {
        grown = LocalAlloc(LPTR, room);
        if (grown == nullptr) return false;
        std::memcpy(grown, picture.bytes, picture.size);
        LocalFree(picture.bytes);
    }
    picture.bytes = static_cast<LPBYTE>(grown);
    picture.room = room;
    return true;
}

// Reads the next chunk; true where it was full, so that another may follow.
bool ReadChunk(IStream* stream, Picture& picture) {
    ULONG read = 0;
    const HRESULT hr = stream->Read(picture.bytes + picture.size, kPictureChunk, &read);
    if (FAILED(hr)) read = 0;
    picture.size += read;
    return hr == S_OK && read == kPictureChunk;
}

// Replaces the element of the picture, which has no value of its own, by a blob of the stream's bytes. Where the
// stream cannot be had the element stays as the item returned it.
void ReadPicture(IItem* item, CEPROPVAL& element) {
    dbglog(25, "Reading stream data");
    Reference<IStream> stream;
    const HRESULT hr = item->OpenProperty(PIMPR_PICTURE, GENERIC_READ, stream.Out());
    if (FAILED(hr) || !stream) {
        dbglog(25, "Failed to open stream");
        return;
    }
    dbglog(25, "Stream opened");
    Picture picture = {static_cast<LPBYTE>(LocalAlloc(LPTR, kPictureChunk)), 0, kPictureChunk};
    if (picture.bytes == nullptr) return;
    STATSTG stat = {};
    stream->Stat(&stat, STATFLAG_NONAME);
    dbglog(25, "stat.cbSize = %i", stat.cbSize.u.LowPart);

    dbglog(25, "Reading stream chunk");
    while (ReadChunk(stream.Get(), picture)) {
        dbglog(25, "Read %i bytes (%i total)", kPictureChunk, picture.size);
        if (!Grow(picture)) break;
    }
    dbglog(25, "Done reading stream (%i size)", picture.size);

    element.val.blob.dwCount = picture.size;
    element.val.blob.lpb = picture.bytes;
    element.wFlags = 0;
}

}  // namespace

BOOL CCEPoom::GetProps(CEOID oid, DWORD dwType, CEPROPVAL** pProps, WORD* pcProps, BYTE bConvert) {
    dbglog(25, "CCEPoom::GetProps(oid = %i, dwType = %i) +", oid, dwType);
    if (pProps != nullptr) *pProps = nullptr;
    if (pcProps != nullptr) *pcProps = 0;

    const ItemType* type = ItemTypeOf(dwType);
    Reference<IItem> item;
    if (type == &kContactType) QueryItem(m_pContact, item.Out());
    if (type == &kAppointmentType) QueryItem(m_pAppt, item.Out());
    if (type == &kTaskType) QueryItem(m_pTask, item.Out());

    CEPROPID wanted[kContactCatalogue.size()];
    WORD count = 0;
    for (const CatalogueRow& row : CatalogueOf(dwType)) wanted[count++] = row.poom;

    HRESULT hr = E_FAIL;
    if (item) {
        ULONG bytes = 0;
        hr = item->GetProps(wanted, CEDB_ALLOWREALLOC, count, pProps, &bytes, GetProcessHeap());
    }
    if (FAILED(hr) || pProps == nullptr || *pProps == nullptr) {
        dbglog(25, "Invalid pProps");
        dbglog(25, "CCEPoom::GetProps() -");
        return FALSE;
    }
    dbglog(25, "Retrieved props (%i props)", count);

    if (bConvert) {
        dbglog(25, "Converting");
        for (WORD i = 0; i < count; ++i) {
            CEPROPVAL& element = (*pProps)[i];
            if (element.propid == PIMPR_PICTURE) ReadPicture(item.Get(), element);
            const CEPROPID old = element.propid;
            element.propid = ConvertPropID(old, m_dwDBType);
            dbglog(25, "prop[%i].propid = 0x%08x, old propid = 0x%08x", i, element.propid, old);
        }
    }
    if (pcProps != nullptr) *pcProps = count;
    dbglog(25, "CCEPoom::GetProps() -");
    return TRUE;
}
