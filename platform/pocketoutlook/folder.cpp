// Folders.
#include "platform/pocketoutlook/folder.h"

#include <set>

#include "platform/pocketoutlook/categories.h"
#include "platform/pocketoutlook/item_collection.h"
#include "platform/pocketoutlook/property_block.h"

namespace kez::pocketoutlook {

Folder::Folder(std::shared_ptr<Session> session, const FolderRow& row)
    : m_session(std::move(session)), m_row(row), m_item(*this) {}

void* Folder::OtherInterface(REFIID riid) { return riid == IID_IItem ? static_cast<IItem*>(&m_item) : nullptr; }

HRESULT Folder::QueryInterface(REFIID riid, void** out) {
    return Guard("IFolder::QueryInterface", nullptr, out, [&] { return ComObject::QueryInterface(riid, out); });
}

HRESULT Folder::get_Items(IPOutlookItemCollection** out) {
    return Guard("IFolder::get_Items", m_session.get(), out, [&] {
        *out = new ItemCollection(m_session, m_row.type);
        return S_OK;
    });
}

HRESULT Folder::get_DefaultItemType(INT* itemType) {
    return Guard("IFolder::get_DefaultItemType", m_session.get(), itemType, [&] {
        *itemType = m_row.type;
        return S_OK;
    });
}

HRESULT Folder::get_Application(IPOutlookApp** out) {
    return Guard("IFolder::get_Application", m_session.get(), out, [&] { return m_session->GetApplication(out); });
}

HRESULT Folder::AddItemToInfraredFolder(INT, IDispatch*) {
    return Guard("IFolder::AddItemToInfraredFolder", m_session.get(), [] { return E_NOTIMPL; });
}

HRESULT Folder::SendToInfrared() {
    return Guard("IFolder::SendToInfrared", m_session.get(), [] { return E_NOTIMPL; });
}

HRESULT Folder::ReceiveFromInfrared(IPOutlookItemCollection** out) {
    return Guard("IFolder::ReceiveFromInfrared", m_session.get(), out, [] { return E_NOTIMPL; });
}

// --- The IItem face -------------------------------------------------------------------------------------------

HRESULT FolderItem::QueryInterface(REFIID riid, void** out) { return m_folder.QueryInterface(riid, out); }
ULONG FolderItem::AddRef() { return m_folder.AddRef(); }
ULONG FolderItem::Release() { return m_folder.Release(); }

std::u16string FolderItem::CategoriesInUse() const {
    std::set<std::u16string> names;
    m_folder.GetSession().Store().Walk(m_folder.Row().type, [&](CEOID, const PropertyBag& values) {
        for (const auto& name : SplitCategories(values.Text(PIMPR_CATEGORIES))) names.emplace(name);
        return true;
    });
    std::u16string text;
    for (const auto& name : names) text += (text.empty() ? u"" : u",") + name;
    return text;
}

HRESULT FolderItem::GetProps(const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** values, ULONG* bytes,
                             HANDLE heap) {
    return Guard("IItem::GetProps", &m_folder.GetSession(), [&] {
        if (HRESULT hr = CheckBlockArguments(ids, flags, count, values, bytes, heap); FAILED(hr)) return hr;
        std::vector<AnsweredProperty> answers;
        for (WORD i = 0; i < count; i++) {
            AnsweredProperty answer{.id = ids[i], .made = {}};
            if (ids[i] == PIMPR_OID) {
                answer.made = Value(std::int64_t{m_folder.GetSession().Store().FolderOid(m_folder.Row().type)});
            } else if (ids[i] == PIMPR_FOLDERNOTIFICATIONS) {
                answer.made = Value(std::int64_t{m_notifications});
            } else if (ids[i] == PIMPR_FOLDER_CATEGORIES) {
                if (auto text = CategoriesInUse(); !text.empty()) answer.made = Value(std::move(text));
            }
            answers.push_back(std::move(answer));
        }
        return WriteBlock(answers, flags, values, bytes, heap);
    });
}

HRESULT FolderItem::SetProps(ULONG flags, WORD count, CEPROPVAL* values) {
    return Guard("IItem::SetProps", &m_folder.GetSession(), [&] {
        if (flags != 0 || count == 0 || !values) return E_INVALIDARG;
        HRESULT result = S_OK;
        for (WORD i = 0; i < count; i++) {
            if (values[i].propid != PIMPR_FOLDERNOTIFICATIONS) {
                result = S_FALSE;
                continue;
            }
            // Notifications are messages to the window that Logon was given.
            if (!m_folder.GetSession().HasWindow()) return E_ACCESSDENIED;
            const ULONG wanted = values[i].wFlags & CEDB_PROPDELETE ? 0 : values[i].val.ulVal;
            if (wanted > PIMFOLDERNOTIFICATION_ALL || wanted == m_notifications) {
                result = S_FALSE;
            } else {
                m_notifications = wanted;
            }
        }
        return result;
    });
}

HRESULT FolderItem::Save() {
    return Guard("IItem::Save", &m_folder.GetSession(), [] { return S_OK; });
}

HRESULT FolderItem::Delete() {
    return Guard("IItem::Delete", &m_folder.GetSession(), [] { return E_FAIL; });
}

HRESULT FolderItem::Display(HWND) {
    return Guard("IItem::Display", &m_folder.GetSession(), [] { return E_NOTIMPL; });
}

HRESULT FolderItem::Edit(HWND) {
    return Guard("IItem::Edit", &m_folder.GetSession(), [] { return E_NOTIMPL; });
}

HRESULT FolderItem::Copy(IItem** out) {
    return Guard("IItem::Copy", &m_folder.GetSession(), out, [] { return E_NOTIMPL; });
}

HRESULT FolderItem::get_Oid(LONG* oid) {
    return Guard("IItem::get_Oid", &m_folder.GetSession(), oid, [&] {
        *oid = static_cast<LONG>(m_folder.GetSession().Store().FolderOid(m_folder.Row().type));
        return S_OK;
    });
}

HRESULT FolderItem::OpenProperty(CEPROPID, DWORD, IStream** out) {
    return Guard("IItem::OpenProperty", &m_folder.GetSession(), out, [] { return E_INVALIDARG; });
}

HRESULT FolderItem::get_DefaultItemType(INT* itemType) {
    return Guard("IItem::get_DefaultItemType", &m_folder.GetSession(), itemType, [&] {
        *itemType = m_folder.Row().type;
        return S_OK;
    });
}

HRESULT FolderItem::get_Application(IPOutlookApp** out) {
    return Guard("IItem::get_Application", &m_folder.GetSession(), out,
                 [&] { return m_folder.GetSession().GetApplication(out); });
}

HRESULT FolderItem::get_Parent(IFolder** out) {
    return Guard("IItem::get_Parent", &m_folder.GetSession(), out, [] { return E_NOTIMPL; });
}

HRESULT FolderItem::AddCategory(LPCWSTR) {
    return Guard("IItem::AddCategory", &m_folder.GetSession(), [] { return E_NOTIMPL; });
}

HRESULT FolderItem::RemoveCategory(LPCWSTR) {
    return Guard("IItem::RemoveCategory", &m_folder.GetSession(), [] { return E_NOTIMPL; });
}

}  // namespace kez::pocketoutlook
