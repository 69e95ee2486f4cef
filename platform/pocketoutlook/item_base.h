// What contacts, appointments and tasks have in common: a private copy of one record, IItem on it, and the steps of
// Save, Delete and Copy. An item type derives from ItemBase and from ItemFace<its interface>, which are two faces of
// one object: one reference count, one unsaved state, one IUnknown.
//
// Two copies of the values are kept. `Stored()` is what the record held when it was last read or saved; IItem::GetProps
// answers from it. `Values()` is what the accessors see and change; Save writes the difference between the two in one
// transaction, so that two objects on one record only overwrite each other's values where both changed them.
#pragma once

#include <pimstore.h>

#include <list>
#include <memory>
#include <optional>

#include "platform/pocketoutlook/com_object.h"
#include "platform/pocketoutlook/item_store.h"
#include "platform/pocketoutlook/property_bag.h"
#include "platform/pocketoutlook/property_catalogue.h"
#include "platform/pocketoutlook/session.h"

namespace kez::pocketoutlook {

class PropertyStream;
struct AnsweredProperty;

class ItemBase : public IItem {
 public:
    ItemBase(const ItemBase&) = delete;
    ItemBase& operator=(const ItemBase&) = delete;

    // Becomes a new item with the type's defaults, or the item of a record (false: there is none). Called once, by the
    // factory functions of item_classes.h.
    void StartNew();
    bool StartFrom(CEOID oid);

    OlItemType Type() const { return m_type; }
    CEOID Oid() const { return m_oid; }  // 0 until the first Save
    Session& GetSession() const { return *m_session; }
    const std::shared_ptr<Session>& SharedSession() const { return m_session; }
    ItemStore& Store() const { return m_session->Store(); }
    PropertyBag& Values() { return m_values; }
    const PropertyBag& Values() const { return m_values; }
    const PropertyBag& Stored() const { return m_stored; }

    // --- IUnknown, shared by both faces ----------------------------------------------------------------------
    // IUnknown, IDispatch and the typed interface are answered with Typed(), IItem with the item itself.
    HRESULT QueryAny(REFIID riid, void** out);
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) final;
    ULONG STDMETHODCALLTYPE AddRef() final { return m_count.Up(); }
    ULONG STDMETHODCALLTYPE Release() final;

    // --- IItem -----------------------------------------------------------------------------------------------
    HRESULT STDMETHODCALLTYPE GetProps(const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** values, ULONG* bytes,
                                       HANDLE heap) final;
    HRESULT STDMETHODCALLTYPE SetProps(ULONG flags, WORD count, CEPROPVAL* values) final;
    HRESULT STDMETHODCALLTYPE Save() final;
    HRESULT STDMETHODCALLTYPE Delete() final;
    HRESULT STDMETHODCALLTYPE Display(HWND parent) final;
    HRESULT STDMETHODCALLTYPE Edit(HWND parent) final;
    HRESULT STDMETHODCALLTYPE Copy(IItem** out) final;
    HRESULT STDMETHODCALLTYPE get_Oid(LONG* oid) final;
    HRESULT STDMETHODCALLTYPE OpenProperty(CEPROPID id, DWORD mode, IStream** out) final;
    HRESULT STDMETHODCALLTYPE get_DefaultItemType(INT* itemType) final;
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) final;
    HRESULT STDMETHODCALLTYPE get_Parent(IFolder** out) final;
    HRESULT STDMETHODCALLTYPE AddCategory(LPCWSTR category) final;
    HRESULT STDMETHODCALLTYPE RemoveCategory(LPCWSTR category) final;

    // IItem::GetProps without its planned fault.
    HRESULT GiveProps(const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** values, ULONG* bytes, HANDLE heap);

    // --- What both faces do ----------------------------------------------------------------------------------
    // SaveItem: Prepare, then one transaction that inserts or updates the record, writes committed streams and calls
    // WriteDetails, then AfterSave. S_OK without a transaction where nothing changed. Where any step fails nothing is
    // written and the item keeps its unsaved state as it was before Prepare. E_FAIL on an item that was deleted.
    virtual HRESULT SaveItem();
    // E_FAIL on a never saved and on a deleted item.
    virtual HRESULT DeleteItem();
    // A new unsaved item with this one's values, streams and details; without the properties that do not replicate.
    HRESULT CopyItem(ItemBase** out);

    // --- Values with their rules -----------------------------------------------------------------------------
    // For accessors. Texts are read up to their terminator, so that a plain wide string serves as well as an automation
    // string; E_FIELDTOOLARGE beyond the catalogue's limit. Numbers: E_INVALIDARG beyond its bound.
    // Dates: E_INVALIDARG outside 1900-01-01 to 2999-12-31, except DATE_NONE, which removes the value.
    HRESULT GetText(CEPROPID id, BSTR* out) const;  // an empty string for none, never null
    HRESULT PutText(CEPROPID id, BSTR in);
    HRESULT GetDate(CEPROPID id, DATE* out) const;
    HRESULT PutDate(CEPROPID id, DATE in);
    HRESULT GetNumber(CEPROPID id, LONG* out) const;
    HRESULT PutNumber(CEPROPID id, LONG in);
    HRESULT GetFlag(CEPROPID id, VARIANT_BOOL* out) const;
    HRESULT PutFlag(CEPROPID id, VARIANT_BOOL in);

    // --- What an item type says ------------------------------------------------------------------------------
    // The typed interface of this object (no reference added): what CreateItem and its like hand out.
    virtual IDispatch* Typed() = 0;
    virtual REFIID TypedId() const = 0;
    // Sets what a new item starts with; `values` is empty.
    virtual void SetDefaults(PropertyBag& values) { (void)values; }
    // The values that the store holds for this item; nothing where it has no such item.
    virtual std::optional<PropertyBag> ReadRecord(CEOID oid) const { return Store().Read(m_type, oid); }
    // Reads what the item keeps beside its record, after StartFrom.
    virtual void LoadDetails() {}
    // Checks the unsaved state and brings it into the form that is stored; on failure Save fails with that result.
    virtual HRESULT Prepare() { return S_OK; }
    // Whether something beside Values() and the streams waits to be saved.
    virtual bool DetailsChanged() const { return false; }
    virtual void WriteDetails(ItemStore::Transaction& transaction, CEOID oid) { (void)transaction, (void)oid; }
    virtual void AfterSave() {}
    // Takes over what another item of the type keeps beside its record; the values are copied already.
    virtual void CopyDetailsFrom(ItemBase& from) { (void)from; }
    // The value of a property whose access is Calculated, from `values`; nothing where it is absent. Unless an item
    // type calculates it, it is what the record holds under that identifier.
    virtual std::optional<Value> Calculated(CEPROPID id, const PropertyBag& values) const;
    // Takes a value (null: removes it) that the catalogue allows to be written or that is Calculated. Called by every
    // Put and by SetProps; an item type overrides it to couple properties. S_FALSE: not taken.
    virtual HRESULT PutValue(const PropertyRow& row, const Value* value);
    // A series' occurrences, for collections that include recurrences: the start of the first one that begins after
    // `after` and is not deleted, and the item of the occurrence that begins at `start`. Other items have none.
    virtual std::optional<DATE> NextOccurrence(DATE after) const {
        (void)after;
        return std::nullopt;
    }
    virtual HRESULT OpenOccurrence(DATE start, IDispatch** out) {
        (void)start, (void)out;
        return E_INVALIDARG;
    }

 protected:
    ItemBase(std::shared_ptr<Session> session, OlItemType type);
    virtual ~ItemBase();

    bool IsDeleted() const { return m_deleted; }
    // Makes the present values the stored ones, as after a Save. For item types that save in their own way.
    void MarkSaved();

 private:
    friend class PropertyStream;
    // What streams have done to a stream property.
    struct StreamState {
        CEPROPID id = 0;
        propertydb::Bytes bytes;  // what was committed, while `pending`
        bool pending = false;     // to be written by Save
        bool open = false;        // a stream is open on it
    };
    StreamState& StreamOf(CEPROPID id);
    propertydb::Bytes StreamBytes(const StreamState& stream) const;
    bool StreamHasBytes(const StreamState& stream) const;
    bool HasPendingStreams() const;

    HRESULT WriteRecord();
    // The record's values as they are now, also where another object saved it meanwhile.
    const PropertyBag& FreshValues();
    AnsweredProperty Answer(CEPROPID id, const PropertyBag& fresh) const;
    // S_OK: taken. S_FALSE: not taken, or the same value as before.
    HRESULT SetProperty(const CEPROPVAL& element);
    HRESULT PutChecked(CEPROPID id, const Value* value);
    HRESULT ChangeCategories(LPCWSTR category, bool add);

    ReferenceCount m_count;
    std::shared_ptr<Session> m_session;
    OlItemType m_type;
    CEOID m_oid = 0;
    bool m_deleted = false;
    PropertyBag m_stored;
    PropertyBag m_values;
    std::optional<PropertyBag> m_fresh;  // of a later state of the record than m_stored
    std::uint64_t m_freshAt = 0;         // the change counter that m_fresh (or m_stored without it) is good for
    std::list<StreamState> m_streams;    // a list: streams keep references into it, and most items have none
};

}  // namespace kez::pocketoutlook
