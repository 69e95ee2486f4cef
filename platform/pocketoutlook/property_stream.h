// A stream on one property of an item (a picture, a note in ink). It works on a copy of its own; Commit hands the copy
// to the item, the item's Save stores it, and without Commit nothing comes of it. While it is open no other stream can
// be opened on the property of that item.
#pragma once

#include "platform/pocketoutlook/item_base.h"

namespace kez::pocketoutlook {

class PropertyStream final : public ComObject<IStream, IID_ISequentialStream, IID_IStream> {
 public:
    PropertyStream(ItemBase& item, ItemBase::StreamState& state, DWORD mode);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;

    // Fewer bytes than asked for, with S_OK, at the end.
    HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG bytes, ULONG* read) override;
    // On a stream that can only be written the first write, made at the beginning, drops the old content.
    HRESULT STDMETHODCALLTYPE Write(const void* buffer, ULONG bytes, ULONG* written) override;
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) override;
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override;
    HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER bytes, ULARGE_INTEGER* read,
                                     ULARGE_INTEGER* written) override;
    HRESULT STDMETHODCALLTYPE Commit(DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Revert() override;
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) override;
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) override;
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* out, DWORD flag) override;
    HRESULT STDMETHODCALLTYPE Clone(IStream** out) override;

 private:
    ~PropertyStream() override;
    // The content, read from the item when it is first needed.
    propertydb::Bytes& Content();
    HRESULT Resize(std::uint64_t size);

    Ref<ItemBase> m_item;
    ItemBase::StreamState& m_state;
    DWORD m_mode;
    bool m_loaded = false;
    bool m_touched = false;  // written to or resized
    propertydb::Bytes m_content;
    std::uint64_t m_position = 0;
};

}  // namespace kez::pocketoutlook
