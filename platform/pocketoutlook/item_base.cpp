// Items: their beginning, their identity, and the small IItem methods.
#include "platform/pocketoutlook/item_base.h"

#include "platform/pocketoutlook/categories.h"
#include "platform/pocketoutlook/folder.h"
#include "platform/pocketoutlook/property_stream.h"

namespace kez::pocketoutlook {

ItemBase::ItemBase(std::shared_ptr<Session> session, OlItemType type) : m_session(std::move(session)), m_type(type) {}

ItemBase::~ItemBase() = default;

void ItemBase::StartNew() {
    SetDefaults(m_values);
    m_stored = m_values;
}

bool ItemBase::StartFrom(CEOID oid) {
    m_freshAt = Store().ChangeCounter(m_type);
    auto stored = ReadRecord(oid);
    if (!stored) return false;
    m_oid = oid;
    m_stored = std::move(*stored);
    m_values = m_stored;
    LoadDetails();
    return true;
}

HRESULT ItemBase::QueryAny(REFIID riid, void** out) {
    if (riid == IID_IUnknown || riid == IID_IDispatch || riid == TypedId()) {
        *out = Typed();
    } else if (riid == IID_IItem) {
        *out = static_cast<IItem*>(this);
    } else {
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

HRESULT ItemBase::QueryInterface(REFIID riid, void** out) {
    return Guard("IItem::QueryInterface", nullptr, out, [&] { return QueryAny(riid, out); });
}

ULONG ItemBase::Release() {
    const ULONG left = m_count.Down();
    if (left == 0) delete this;
    return left;
}

HRESULT ItemBase::Save() {
    return Guard("IItem::Save", m_session.get(), [&] { return SaveItem(); });
}

HRESULT ItemBase::Delete() {
    return Guard("IItem::Delete", m_session.get(), [&] { return DeleteItem(); });
}

HRESULT ItemBase::Display(HWND) {
    return Guard("IItem::Display", m_session.get(), [] { return E_NOTIMPL; });
}

HRESULT ItemBase::Edit(HWND) {
    return Guard("IItem::Edit", m_session.get(), [] { return E_NOTIMPL; });
}

HRESULT ItemBase::Copy(IItem** out) {
    return Guard("IItem::Copy", m_session.get(), out, [&] {
        ItemBase* copy = nullptr;
        const HRESULT hr = CopyItem(&copy);
        *out = copy;
        return hr;
    });
}

HRESULT ItemBase::get_Oid(LONG* oid) {
    return Guard("IItem::get_Oid", m_session.get(), oid, [&] {
        *oid = static_cast<LONG>(m_oid);
        return S_OK;
    });
}

HRESULT ItemBase::get_DefaultItemType(INT* itemType) {
    return Guard("IItem::get_DefaultItemType", m_session.get(), itemType, [&] {
        *itemType = m_type;
        return S_OK;
    });
}

HRESULT ItemBase::get_Application(IPOutlookApp** out) {
    return Guard("IItem::get_Application", m_session.get(), out, [&] { return m_session->GetApplication(out); });
}

HRESULT ItemBase::get_Parent(IFolder** out) {
    return Guard("IItem::get_Parent", m_session.get(), out, [&] {
        *out = new Folder(m_session, RowOf(m_type));
        return S_OK;
    });
}

HRESULT ItemBase::AddCategory(LPCWSTR category) {
    return Guard("IItem::AddCategory", m_session.get(), [&] { return ChangeCategories(category, true); });
}

HRESULT ItemBase::RemoveCategory(LPCWSTR category) {
    return Guard("IItem::RemoveCategory", m_session.get(), [&] { return ChangeCategories(category, false); });
}

// S_FALSE where the item has the category already, or does not have the one to be removed.
HRESULT ItemBase::ChangeCategories(LPCWSTR category, bool add) {
    const auto wanted = SplitCategories(category ? category : u"");
    if (wanted.size() != 1) return E_INVALIDARG;
    auto names = SplitCategories(m_values.Text(PIMPR_CATEGORIES));
    const bool there = std::erase(names, wanted[0]) != 0;
    if (there == add) return S_FALSE;
    if (add) names.push_back(wanted[0]);
    std::u16string text;
    for (const auto& name : names) text += (text.empty() ? u"" : u",") + name;
    const Value value(std::move(text));
    return PutChecked(PIMPR_CATEGORIES, &value);
}

// --- Streams --------------------------------------------------------------------------------------------------

ItemBase::StreamState& ItemBase::StreamOf(CEPROPID id) {
    for (StreamState& stream : m_streams) {
        if (stream.id == id) return stream;
    }
    m_streams.push_back({.id = id, .bytes = {}});
    return m_streams.back();
}

propertydb::Bytes ItemBase::StreamBytes(const StreamState& stream) const {
    if (stream.pending) return stream.bytes;
    return m_oid ? Store().ReadStream(m_type, m_oid, stream.id) : propertydb::Bytes();
}

bool ItemBase::StreamHasBytes(const StreamState& stream) const {
    if (stream.pending) return !stream.bytes.empty();
    return m_oid && Store().HasStream(m_type, m_oid, stream.id);
}

bool ItemBase::HasPendingStreams() const {
    for (const StreamState& stream : m_streams) {
        if (stream.pending) return true;
    }
    return false;
}

HRESULT ItemBase::OpenProperty(CEPROPID id, DWORD mode, IStream** out) {
    return Guard("IItem::OpenProperty", m_session.get(), out, [&] {
        const PropertyRow* row = FindProperty(m_type, id);
        if (!row || row->access != Access::Stream) return E_INVALIDARG;
        if (mode == 0 || (mode & ~(GENERIC_READ | GENERIC_WRITE))) return E_INVALIDARG;
        StreamState& stream = StreamOf(id);
        if (stream.open) return E_ACCESSDENIED;
        if (mode == GENERIC_READ && !StreamHasBytes(stream)) return E_ACCESSDENIED;
        *out = new PropertyStream(*this, stream, mode);
        return S_OK;
    });
}

}  // namespace kez::pocketoutlook
