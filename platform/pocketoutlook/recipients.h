// The recipients of an appointment: an ordered list, 1-based, bound to its item. Changes count when the item is saved.
#pragma once

#include <pimstore.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/pocketoutlook/com_object.h"
#include "platform/pocketoutlook/property_bag.h"

namespace kez::pocketoutlook {

class AppointmentBase;

struct RecipientData {
    std::u16string name;  // never empty, never changed
    std::u16string address;
    OlRecipientType type = olRecipientTypeRequired;
    OlRecipientStatus status = olRecipientStatusUnknown;
    bool operator==(const RecipientData&) const = default;
};

// A recipient as a row beside the item's record, and a whole list as one value.
PropertyBag RecipientRow(const RecipientData& recipient);
RecipientData RecipientFrom(const PropertyBag& row);
propertydb::Bytes PackRecipients(const std::vector<RecipientData>& recipients);
// Stops at the first entry that is not whole.
std::vector<RecipientData> UnpackRecipients(const propertydb::Bytes& bytes);

class RecipientCollection final : public ComObject<IRecipients, IID_IDispatch, IID_IRecipients> {
 public:
    explicit RecipientCollection(Ref<AppointmentBase> item);
    ~RecipientCollection() override;

    HRESULT STDMETHODCALLTYPE Add(BSTR name, IRecipient** out) override;
    HRESULT STDMETHODCALLTYPE Item(INT index, IRecipient** out) override;
    HRESULT STDMETHODCALLTYPE Remove(INT index) override;
    HRESULT STDMETHODCALLTYPE get_Count(INT* count) override;
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** out) override;
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) override;

 private:
    Ref<AppointmentBase> m_item;
};

class Recipient final
    : public ComObject<IRecipient2, IID_IDispatch, IID_IRecipient, IID_IPOlRecipient, IID_IRecipient2> {
 public:
    Recipient(Ref<AppointmentBase> item, std::shared_ptr<RecipientData> data);
    ~Recipient() override;

    HRESULT STDMETHODCALLTYPE put_Address(BSTR in) override;
    HRESULT STDMETHODCALLTYPE get_Address(BSTR* out) override;
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* out) override;
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) override;
    HRESULT STDMETHODCALLTYPE Resolve(VARIANT_BOOL showDialog, VARIANT_BOOL* resolved) override;
    HRESULT STDMETHODCALLTYPE put_Type(OlRecipientType in) override;
    HRESULT STDMETHODCALLTYPE put_Status(OlRecipientStatus in) override;
    HRESULT STDMETHODCALLTYPE get_Type(OlRecipientType* out) override;
    HRESULT STDMETHODCALLTYPE get_Status(OlRecipientStatus* out) override;

 private:
    Ref<AppointmentBase> m_item;
    std::shared_ptr<RecipientData> m_data;  // shared with the list; alone once it is removed from there
};

}  // namespace kez::pocketoutlook
