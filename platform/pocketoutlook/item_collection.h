// The items of one folder, in an order and under a restriction. A collection is live: every call looks at the records
// as they are then, whoever changed them. What it keeps is the ordered list of oids, which it drops as soon as the
// database's change counter moves, so that Item(i) costs the same however many items there are.
//
// With IncludeRecurrences, appointments in the order of their start are counted out occurrence by occurrence. Such a
// list has no end where a series has none: it grows as far as it is asked for, and Count stays the number of items.
#pragma once

#include "platform/pocketoutlook/com_object.h"
#include "platform/pocketoutlook/item_classes.h"
#include "platform/pocketoutlook/restriction.h"

namespace kez::pocketoutlook {

class OccurrenceList;

class ItemCollection final
    : public ComObject<IPOlItems2, IID_IDispatch, IID_IPOutlookItemCollection, IID_IPOlItems, IID_IPOlItems2> {
 public:
    ItemCollection(std::shared_ptr<Session> session, OlItemType type);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;

    HRESULT STDMETHODCALLTYPE Add(IDispatch** out) override;
    HRESULT STDMETHODCALLTYPE get_Count(INT* count) override;
    HRESULT STDMETHODCALLTYPE Find(BSTR restriction, IDispatch** out) override;
    HRESULT STDMETHODCALLTYPE FindNext(IDispatch** out) override;
    HRESULT STDMETHODCALLTYPE Item(INT index, IDispatch** out) override;
    HRESULT STDMETHODCALLTYPE Remove(INT index) override;
    HRESULT STDMETHODCALLTYPE Restrict(BSTR restriction, IPOutlookItemCollection** out) override;
    HRESULT STDMETHODCALLTYPE Sort(BSTR property, VARIANT_BOOL descending) override;
    HRESULT STDMETHODCALLTYPE get_IncludeRecurrences(VARIANT_BOOL* out) override;
    HRESULT STDMETHODCALLTYPE put_IncludeRecurrences(VARIANT_BOOL in) override;
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** out) override;
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) override;
    HRESULT STDMETHODCALLTYPE SetColumns(BSTR columns) override;
    HRESULT STDMETHODCALLTYPE GetProps(INT index, const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** values,
                                       ULONG* bytes, HANDLE heap) override;

 private:
    using Oids = std::vector<CEOID>;
    ~ItemCollection() override;

    // The oids as the collection orders them now.
    const Oids& Current();
    Oids Selected();
    // The value of a property of a record, calculated ones too.
    ValueSource Values(CEOID oid, const PropertyBag& values);
    // Whether the item matches; false where it has gone.
    bool Matches(const Restriction& restriction, CEOID oid);
    bool CountsOccurrences() const;
    // The item at a position; null where there is none.
    Ref<ItemBase> At(INT index);
    HRESULT GiveOid(INT index, ULONG flags, CEPROPVAL** values, ULONG* bytes, HANDLE heap);
    HRESULT FindFrom(std::size_t position, IDispatch** out);

    std::shared_ptr<Session> m_session;
    const OlItemType m_type;
    std::shared_ptr<const Restriction> m_restriction;
    const PropertyRow* m_order = nullptr;  // null: the database's order
    bool m_descending = false;
    bool m_includeRecurrences = false;

    std::shared_ptr<const Oids> m_oids;  // good while the change counter is m_counter
    std::uint64_t m_counter = 0;
    std::size_t m_next = 0;                         // the position behind the one opened last
    std::unique_ptr<OccurrenceList> m_occurrences;  // of m_oids
    Ref<ItemBase> m_calculator;                     // an empty item that calculates properties

    std::shared_ptr<const Restriction> m_find;
    CEOID m_found = 0;            // the last hit of Find and FindNext
    std::size_t m_foundNext = 0;  // the position behind it
};

}  // namespace kez::pocketoutlook
