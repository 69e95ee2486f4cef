// A default folder: its collection, and through IItem the two properties that folders have (the window notifications
// and the categories in use) with its oid.
#pragma once

#include "platform/pocketoutlook/com_object.h"
#include "platform/pocketoutlook/session.h"

namespace kez::pocketoutlook {

class Folder;

// The IItem face of a folder; lives in it and shares its reference count.
class FolderItem final : public IItem {
 public:
    explicit FolderItem(Folder& folder) : m_folder(folder) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE GetProps(const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** values, ULONG* bytes,
                                       HANDLE heap) override;
    HRESULT STDMETHODCALLTYPE SetProps(ULONG flags, WORD count, CEPROPVAL* values) override;
    HRESULT STDMETHODCALLTYPE Save() override;
    HRESULT STDMETHODCALLTYPE Delete() override;
    HRESULT STDMETHODCALLTYPE Display(HWND parent) override;
    HRESULT STDMETHODCALLTYPE Edit(HWND parent) override;
    HRESULT STDMETHODCALLTYPE Copy(IItem** out) override;
    HRESULT STDMETHODCALLTYPE get_Oid(LONG* oid) override;
    HRESULT STDMETHODCALLTYPE OpenProperty(CEPROPID id, DWORD mode, IStream** out) override;
    HRESULT STDMETHODCALLTYPE get_DefaultItemType(INT* itemType) override;
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) override;
    HRESULT STDMETHODCALLTYPE get_Parent(IFolder** out) override;
    HRESULT STDMETHODCALLTYPE AddCategory(LPCWSTR category) override;
    HRESULT STDMETHODCALLTYPE RemoveCategory(LPCWSTR category) override;

 private:
    // All categories that items of the folder carry, each once, in alphabetical order, comma-separated.
    std::u16string CategoriesInUse() const;

    Folder& m_folder;
    ULONG m_notifications = 0;
};

class Folder final : public ComObject<IFolder, IID_IDispatch, IID_IFolder> {
 public:
    Folder(std::shared_ptr<Session> session, const FolderRow& row);

    Session& GetSession() const { return *m_session; }
    const FolderRow& Row() const { return m_row; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;

    HRESULT STDMETHODCALLTYPE get_Items(IPOutlookItemCollection** out) override;
    HRESULT STDMETHODCALLTYPE get_DefaultItemType(INT* itemType) override;
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) override;
    HRESULT STDMETHODCALLTYPE AddItemToInfraredFolder(INT itemType, IDispatch* item) override;
    HRESULT STDMETHODCALLTYPE SendToInfrared() override;
    HRESULT STDMETHODCALLTYPE ReceiveFromInfrared(IPOutlookItemCollection** out) override;

 private:
    void* OtherInterface(REFIID riid) override;

    std::shared_ptr<Session> m_session;
    const FolderRow& m_row;
    FolderItem m_item;
};

}  // namespace kez::pocketoutlook
