// Save, Delete and Copy of items.
#include "platform/pocketoutlook/item_base.h"
#include "platform/pocketoutlook/item_classes.h"

namespace kez::pocketoutlook {

HRESULT ItemBase::SaveItem() {
    if (m_deleted) return E_FAIL;
    const PropertyBag before = m_values;
    HRESULT hr;
    try {
        hr = WriteRecord();
    } catch (...) {
        m_values = before;
        throw;
    }
    if (FAILED(hr)) m_values = before;
    return hr;
}

HRESULT ItemBase::WriteRecord() {
    if (HRESULT hr = Prepare(); FAILED(hr)) return hr;

    const propertydb::PropertySet changes = Difference(m_stored, m_values);
    if (m_oid != 0 && changes.Empty() && !HasPendingStreams() && !DetailsChanged()) return S_OK;

    CEOID oid = m_oid;
    {
        ItemStore::Transaction transaction(Store());
        if (oid == 0) {
            oid = transaction.Insert(m_type, m_values);
        } else {
            transaction.Update(m_type, oid, changes);
        }
        for (const StreamState& stream : m_streams) {
            if (stream.pending) transaction.WriteStream(m_type, oid, stream.id, stream.bytes);
        }
        WriteDetails(transaction, oid);
        transaction.Commit();
    }

    m_oid = oid;
    for (StreamState& stream : m_streams) {
        stream.pending = false;
        stream.bytes = {};
    }
    MarkSaved();
    AfterSave();
    return S_OK;
}

void ItemBase::MarkSaved() {
    m_stored = m_values;
    m_fresh.reset();
    m_freshAt = 0;  // the record may hold what another object saved meanwhile
}

HRESULT ItemBase::DeleteItem() {
    if (m_oid == 0 || m_deleted) return E_FAIL;
    ItemStore::Transaction transaction(Store());
    transaction.Remove(m_type, m_oid);
    transaction.Commit();
    m_deleted = true;
    return S_OK;
}

HRESULT ItemBase::CopyItem(ItemBase** out) {
    auto copy = MakeBlankItem(m_session, m_type);
    for (const auto& entry : m_values) {
        const auto named = Store().FindNamed(entry.id);
        if (!named || named->replicates) copy->m_values.Set(entry.id, entry.value);
    }
    for (const CEPROPID id : {PIMPR_PICTURE, PIMPR_BODY_BINARY}) {
        if (!FindProperty(m_type, id)) continue;
        if (auto bytes = StreamBytes(StreamOf(id)); !bytes.empty()) {
            StreamState& stream = copy->StreamOf(id);
            stream.bytes = std::move(bytes);
            stream.pending = true;
        }
    }
    copy->CopyDetailsFrom(*this);
    *out = copy.Detach();
    return S_OK;
}

}  // namespace kez::pocketoutlook
