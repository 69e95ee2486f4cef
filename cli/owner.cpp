#include "cli/owner.h"

#include <algorithm>
#include <cstdio>

#include "cli/owner_fields.h"
#include "platform/control/control.h"

namespace kez::cli {
namespace {

using engine::ComPtr;
using sync::ItemType;

[[noreturn]] void Refused(const std::string& what, HRESULT result) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
    std::string why = "is refused by Pocket Outlook";
    if (result == E_INVALIDDATES) why = "has dates that do not go together";
    if (result == E_INVALIDREMINDERTIME) why = "has a reminder that does not go with its dates";
    if (result == E_FIELDTOOLARGE) why = "has a text that is too long for the device";
    throw OwnerError(what + " " + why + " (" + code + ")");
}

// Logging on opens the volume of items: its failure is one of that file.
[[noreturn]] void NotOpened(HRESULT result) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
    std::string why = "; kezsync doctor looks for the reason";
    if (result == HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED)) why = ": its volume can only be read, not written to";
    if (result == HRESULT_FROM_WIN32(ERROR_DISK_FULL)) why = ": the disk is full";
    throw OwnerError(control::DeviceFolder().string() + ": the device's items cannot be opened (" + code + ")" + why);
}

INT FolderOf(ItemType type) {
    switch (type) {
        case ItemType::Contact:
            return olFolderContacts;
        case ItemType::Task:
            return olFolderTasks;
        case ItemType::Appointment:
            return olFolderCalendar;
    }
    return 0;
}

INT ItemTypeOf(ItemType type) {
    switch (type) {
        case ItemType::Contact:
            return olContactItem;
        case ItemType::Task:
            return olTaskItem;
        case ItemType::Appointment:
            return olAppointmentItem;
    }
    return 0;
}

CEOID OidOf(ItemType type, IDispatch& item) {
    LONG oid = 0;
    switch (type) {
        case ItemType::Contact:
            static_cast<IContact&>(item).get_Oid(&oid);
            break;
        case ItemType::Task:
            static_cast<ITask&>(item).get_Oid(&oid);
            break;
        case ItemType::Appointment:
            static_cast<IAppointment&>(item).get_Oid(&oid);
            break;
    }
    return static_cast<CEOID>(oid);
}

// The type of an item tells itself by the interface that it answers to.
std::optional<ItemType> TypeOf(IDispatch& item) {
    const std::pair<ItemType, const IID*> faces[] = {
        {ItemType::Contact, &IID_IContact}, {ItemType::Task, &IID_ITask}, {ItemType::Appointment, &IID_IAppointment}};
    for (const auto& [type, iid] : faces) {
        ComPtr<IUnknown> face;
        if (SUCCEEDED(item.QueryInterface(*iid, face.OutVoid()))) return type;
    }
    return std::nullopt;
}

void CheckNames(ItemType type, const sync::Fields& fields) {
    const std::vector<std::string> known = FieldNames(type);
    for (const auto& [name, value] : fields) {
        if (std::find(known.begin(), known.end(), name) != known.end()) continue;
        std::string names;
        for (const std::string& each : known) names += (names.empty() ? "" : ", ") + each;
        throw OwnerError("a " + std::string(ToString(type)) + " has no field " + name + "; it has " + names);
    }
}

}  // namespace

Owner::Owner() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    HRESULT result =
        CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IPOutlookApp2, m_application.OutVoid());
    if (SUCCEEDED(result)) result = m_application->Logon(0);
    if (FAILED(result)) {
        m_application = {};
        CoUninitialize();
        NotOpened(result);
    }
}

Owner::~Owner() {
    m_application->Logoff();
    m_application = {};
    CoUninitialize();
}

std::vector<OwnedItem> Owner::List(ItemType type, bool withPictures) {
    std::vector<OwnedItem> items;
    ComPtr<IFolder> folder;
    ComPtr<IPOutlookItemCollection> collection;
    INT count = 0;
    HRESULT result = m_application->GetDefaultFolder(FolderOf(type), folder.Out());
    if (SUCCEEDED(result)) result = folder->get_Items(collection.Out());
    if (SUCCEEDED(result)) result = collection->get_Count(&count);
    if (FAILED(result)) Refused("the folder of " + std::string(ToString(type)) + "s", result);
    for (INT i = 1; i <= count; ++i) {
        ComPtr<IDispatch> item;
        if (FAILED(collection->Item(i, item.Out())) || !item) continue;
        items.push_back({OidOf(type, *item.Get()), {type, ReadFields(type, *item.Get(), withPictures)}});
    }
    return items;
}

ComPtr<IDispatch> Owner::Get(CEOID oid) {
    ComPtr<IDispatch> item;
    if (oid == 0 || FAILED(m_application->GetItemFromOid(static_cast<LONG>(oid), item.Out()))) return {};
    return item;
}

std::optional<OwnedItem> Owner::Find(CEOID oid) {
    const ComPtr<IDispatch> item = Get(oid);
    if (!item) return std::nullopt;
    const std::optional<ItemType> type = TypeOf(*item.Get());
    if (!type) return std::nullopt;
    return OwnedItem{oid, {*type, ReadFields(*type, *item.Get(), true)}};
}

CEOID Owner::Add(const sync::Item& item) {
    ComPtr<IDispatch> made;
    HRESULT result = m_application->CreateItem(ItemTypeOf(item.type), made.Out());
    if (FAILED(result)) Refused(Title(item), result);
    WriteFields(item.type, *made.Get(), item.fields);
    result = SaveItem(item.type, *made.Get());
    if (FAILED(result)) Refused(Title(item), result);
    if (item.type == ItemType::Appointment) WriteExceptions(*made.Get(), item.fields);
    return OidOf(item.type, *made.Get());
}

void Owner::Change(CEOID oid, const sync::Fields& fields) {
    const ComPtr<IDispatch> item = Get(oid);
    const std::optional<ItemType> type = item ? TypeOf(*item.Get()) : std::nullopt;
    if (!type) throw OwnerError("the device has no item with oid " + std::to_string(oid));
    CheckNames(*type, fields);
    WriteFields(*type, *item.Get(), fields);
    const HRESULT result = SaveItem(*type, *item.Get());
    if (FAILED(result)) Refused(sync::Title({*type, ReadFields(*type, *item.Get(), false)}), result);
}

bool Owner::Delete(CEOID oid) {
    const ComPtr<IDispatch> item = Get(oid);
    if (!item) return false;
    ComPtr<IItem> face;
    HRESULT result = item->QueryInterface(IID_IItem, face.OutVoid());
    if (SUCCEEDED(result)) result = face->Delete();
    if (FAILED(result)) Refused("oid " + std::to_string(oid), result);
    return true;
}

}  // namespace kez::cli
