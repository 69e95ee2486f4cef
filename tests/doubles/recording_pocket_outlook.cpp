// The doubles' methods that do more than hand out a value.
#include "tests/doubles/recording_pocket_outlook.h"

#include <algorithm>
#include <cstring>

namespace kez::tests {

namespace {

std::string Hexadecimal(CEPROPID id) {
    char text[16] = {};
    _snprintf(text, sizeof(text) - 1, "0x%08x", id);
    return text;
}

// One element of a collection. It is handed out as IDispatch, and gives IItem when asked.
class Entry : public Recording<DispatchDouble<IDispatch, IID_IDispatch>> {
 public:
    Entry(RecordedCalls& calls, RecordingItem* item) : Recording(calls), m_item(item) { m_item->AddRef(); }

 protected:
    ~Entry() override { m_item->Release(); }
    void* OtherInterface(REFIID riid) override {
        if (riid != IID_IItem || FAILED(Call("QueryInterface(IItem)"))) return nullptr;
        m_item->AddRef();
        return m_item;
    }

 private:
    RecordingItem* m_item;
};

}  // namespace

HRESULT RecordingStream::Read(void* buffer, ULONG bytes, ULONG* read) {
    const HRESULT hr = Call("IStream::Read", Shown(static_cast<LONG>(bytes)));
    if (FAILED(hr)) return hr;
    *read = static_cast<ULONG>(std::min<std::size_t>(bytes, content.size() - position));
    if (*read > 0) std::memcpy(buffer, content.data() + position, *read);
    position += *read;
    return hr;
}

HRESULT RecordingStream::Write(const void* buffer, ULONG bytes, ULONG* written) {
    const HRESULT hr = Call("IStream::Write", Shown(static_cast<LONG>(bytes)));
    if (FAILED(hr)) return hr;
    content.assign(static_cast<const BYTE*>(buffer), static_cast<const BYTE*>(buffer) + bytes);
    *written = bytes;
    return hr;
}

HRESULT RecordingStream::Stat(STATSTG* out, DWORD flag) {
    const HRESULT hr = Call("IStream::Stat", Shown(static_cast<LONG>(flag)));
    if (SUCCEEDED(hr)) out->cbSize.QuadPart = content.size();
    return hr;
}

HRESULT RecordingItem::GetProps(const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** out, ULONG* bytes,
                                HANDLE heap) {
    const HRESULT hr = Call("IItem::GetProps", Shown(static_cast<LONG>(count)));
    if (FAILED(hr)) return hr;
    EXPECT_EQ(flags, CEDB_ALLOWREALLOC);
    EXPECT_EQ(heap, GetProcessHeap());
    if (out == nullptr) return E_INVALIDARG;
    *bytes = static_cast<ULONG>(count * sizeof(CEPROPVAL));
    *out = static_cast<CEPROPVAL*>(HeapAlloc(heap, HEAP_ZERO_MEMORY, *bytes));
    for (WORD i = 0; i < count; ++i) {
        (*out)[i].propid = ids[i];
        const auto found = values.find(ids[i]);
        if (found != values.end()) {
            (*out)[i].val = found->second;
        } else {
            (*out)[i].wFlags = CEDB_PROPNOTFOUND;
        }
    }
    return hr;
}

HRESULT RecordingItem::SetProps(ULONG flags, WORD count, CEPROPVAL* in) {
    EXPECT_EQ(flags, 0u);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(in->wFlags, 0);
    return Call("IItem::SetProps", Hexadecimal(in->propid) + " " + Shown(in->val.lpwstr));
}

HRESULT RecordingItem::Delete() {
    const HRESULT hr = Call("IItem::Delete");
    if (SUCCEEDED(hr) && shelf != nullptr) shelf->erase(std::find(shelf->begin(), shelf->end(), this));
    return hr;
}

HRESULT RecordingItem::OpenProperty(CEPROPID id, DWORD mode, IStream** out) {
    return Hand("IItem::OpenProperty", stream, out, Hexadecimal(id) + " " + Hexadecimal(mode));
}

HRESULT RecordingRecipients::Add(BSTR name, IRecipient** out) {
    const HRESULT hr = Call("IRecipients::Add", Shown(name));
    *out = nullptr;
    if (FAILED(hr)) return hr;
    auto* recipient = new RecordingRecipient(Calls());
    recipient->name.assign(name, SysStringLen(name));
    list.push_back(recipient);
    recipient->AddRef();
    *out = recipient;
    return hr;
}

HRESULT RecordingRecipients::Item(INT index, IRecipient** out) {
    const bool there = index >= 1 && index <= static_cast<INT>(list.size());
    return Hand("IRecipients::Item", there ? list[static_cast<std::size_t>(index - 1)] : nullptr, out, Shown(index));
}

HRESULT RecordingRecipients::Remove(INT index) {
    const HRESULT hr = Call("IRecipients::Remove", Shown(index));
    if (FAILED(hr)) return hr;
    list.at(static_cast<std::size_t>(index - 1))->Release();
    list.erase(list.begin() + (index - 1));
    return hr;
}

void RecordingRecipients::Fill(const std::vector<std::pair<std::u16string, std::u16string>>& recipients) {
    for (const auto& [name, address] : recipients) {
        auto* recipient = new RecordingRecipient(Calls());
        recipient->name = name;
        recipient->address = address;
        list.push_back(recipient);
    }
}

RecordingRecipients::~RecordingRecipients() {
    for (RecordingRecipient* recipient : list) recipient->Release();
}

HRESULT RecordingAppointment::GetRecurrencePattern(IRecurrencePattern** out) {
    return Hand("IAppointment::GetRecurrencePattern", pattern, out);
}

HRESULT RecordingTask::GetRecurrencePattern(IRecurrencePattern** out) {
    return Hand("ITask::GetRecurrencePattern", pattern, out);
}

HRESULT RecordingExceptions::Item(INT index, IException** out) {
    const bool there = index >= 1 && index <= static_cast<INT>(list.size());
    return Hand("IExceptions::Item", there ? list[static_cast<std::size_t>(index - 1)] : nullptr, out, Shown(index));
}

HRESULT RecordingPattern::GetOccurrence(DATE date, IAppointment** out) {
    const auto found = days.find(date);
    return Hand("IRecurrencePattern::GetOccurrence", found != days.end() ? found->second : nullptr, out, Shown(date));
}

HRESULT RecordingCollection::Item(INT index, IDispatch** out) {
    const HRESULT hr = Call("IPOutlookItemCollection::Item", Shown(index));
    *out = nullptr;
    if (FAILED(hr)) return hr;
    if (index < 1 || index > static_cast<INT>(shelf.size())) return E_INVALIDARG;
    *out = new Entry(Calls(), shelf[static_cast<std::size_t>(index - 1)]);
    return hr;
}

HRESULT RecordingApplication::SysFreeString(BSTR text) {
    const HRESULT hr = Call("IPOutlookApp::SysFreeString");
    if (SUCCEEDED(hr)) ::SysFreeString(text);
    return hr;
}

}  // namespace kez::tests
