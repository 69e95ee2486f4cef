// Contacts. All but the filing text are plain values; the filing text follows the names unless it is set itself.
#pragma once

#include "platform/pocketoutlook/item_face.h"

namespace kez::pocketoutlook {

// The accessors of IContact beside Categories and Body: name, type, property.
#define KEZ_CONTACT_ACCESSORS(ACCESSOR)                                           \
    ACCESSOR(Birthday, DATE, PIMPR_BIRTHDAY)                                      \
    ACCESSOR(Anniversary, DATE, PIMPR_ANNIVERSARY)                                \
    ACCESSOR(BusinessFaxNumber, BSTR, PIMPR_BUSINESS_FAX_NUMBER)                  \
    ACCESSOR(CompanyName, BSTR, PIMPR_COMPANY_NAME)                               \
    ACCESSOR(Department, BSTR, PIMPR_DEPARTMENT)                                  \
    ACCESSOR(Email1Address, BSTR, PIMPR_EMAIL1_ADDRESS)                           \
    ACCESSOR(MobileTelephoneNumber, BSTR, PIMPR_MOBILE_TELEPHONE_NUMBER)          \
    ACCESSOR(OfficeLocation, BSTR, PIMPR_OFFICE_LOCATION)                         \
    ACCESSOR(PagerNumber, BSTR, PIMPR_PAGER_NUMBER)                               \
    ACCESSOR(BusinessTelephoneNumber, BSTR, PIMPR_BUSINESS_TELEPHONE_NUMBER)      \
    ACCESSOR(JobTitle, BSTR, PIMPR_JOB_TITLE)                                     \
    ACCESSOR(HomeTelephoneNumber, BSTR, PIMPR_HOME_TELEPHONE_NUMBER)              \
    ACCESSOR(Email2Address, BSTR, PIMPR_EMAIL2_ADDRESS)                           \
    ACCESSOR(Spouse, BSTR, PIMPR_SPOUSE)                                          \
    ACCESSOR(Email3Address, BSTR, PIMPR_EMAIL3_ADDRESS)                           \
    ACCESSOR(Home2TelephoneNumber, BSTR, PIMPR_HOME2_TELEPHONE_NUMBER)            \
    ACCESSOR(HomeFaxNumber, BSTR, PIMPR_HOME_FAX_NUMBER)                          \
    ACCESSOR(CarTelephoneNumber, BSTR, PIMPR_CAR_TELEPHONE_NUMBER)                \
    ACCESSOR(AssistantName, BSTR, PIMPR_ASSISTANT_NAME)                           \
    ACCESSOR(AssistantTelephoneNumber, BSTR, PIMPR_ASSISTANT_TELEPHONE_NUMBER)    \
    ACCESSOR(Children, BSTR, PIMPR_CHILDREN)                                      \
    ACCESSOR(WebPage, BSTR, PIMPR_WEB_PAGE)                                       \
    ACCESSOR(Business2TelephoneNumber, BSTR, PIMPR_BUSINESS2_TELEPHONE_NUMBER)    \
    ACCESSOR(Title, BSTR, PIMPR_TITLE)                                            \
    ACCESSOR(FirstName, BSTR, PIMPR_FIRST_NAME)                                   \
    ACCESSOR(MiddleName, BSTR, PIMPR_MIDDLE_NAME)                                 \
    ACCESSOR(LastName, BSTR, PIMPR_LAST_NAME)                                     \
    ACCESSOR(Suffix, BSTR, PIMPR_SUFFIX)                                          \
    ACCESSOR(HomeAddressStreet, BSTR, PIMPR_HOME_ADDRESS_STREET)                  \
    ACCESSOR(HomeAddressCity, BSTR, PIMPR_HOME_ADDRESS_CITY)                      \
    ACCESSOR(HomeAddressState, BSTR, PIMPR_HOME_ADDRESS_STATE)                    \
    ACCESSOR(HomeAddressPostalCode, BSTR, PIMPR_HOME_ADDRESS_POSTAL_CODE)         \
    ACCESSOR(HomeAddressCountry, BSTR, PIMPR_HOME_ADDRESS_COUNTRY)                \
    ACCESSOR(OtherAddressStreet, BSTR, PIMPR_OTHER_ADDRESS_STREET)                \
    ACCESSOR(OtherAddressCity, BSTR, PIMPR_OTHER_ADDRESS_CITY)                    \
    ACCESSOR(OtherAddressState, BSTR, PIMPR_OTHER_ADDRESS_STATE)                  \
    ACCESSOR(OtherAddressPostalCode, BSTR, PIMPR_OTHER_ADDRESS_POSTAL_CODE)       \
    ACCESSOR(OtherAddressCountry, BSTR, PIMPR_OTHER_ADDRESS_COUNTRY)              \
    ACCESSOR(BusinessAddressStreet, BSTR, PIMPR_BUSINESS_ADDRESS_STREET)          \
    ACCESSOR(BusinessAddressCity, BSTR, PIMPR_BUSINESS_ADDRESS_CITY)              \
    ACCESSOR(BusinessAddressState, BSTR, PIMPR_BUSINESS_ADDRESS_STATE)            \
    ACCESSOR(BusinessAddressPostalCode, BSTR, PIMPR_BUSINESS_ADDRESS_POSTAL_CODE) \
    ACCESSOR(BusinessAddressCountry, BSTR, PIMPR_BUSINESS_ADDRESS_COUNTRY)        \
    ACCESSOR(RadioTelephoneNumber, BSTR, PIMPR_RADIO_TELEPHONE_NUMBER)            \
    ACCESSOR(FileAs, BSTR, PIMPR_FILEAS)                                          \
    ACCESSOR(YomiCompanyName, BSTR, PIMPR_YOMI_COMPANY)                           \
    ACCESSOR(YomiFirstName, BSTR, PIMPR_YOMI_FIRSTNAME)                           \
    ACCESSOR(YomiLastName, BSTR, PIMPR_YOMI_LASTNAME)

class ContactItem final : public ItemFace<IContact>, public ItemBase {
 public:
    explicit ContactItem(std::shared_ptr<Session> session);

#define KEZ_ACCESSOR(name, type, id)                                                                          \
    HRESULT STDMETHODCALLTYPE get_##name(type* out) override { return Get("IContact::get_" #name, id, out); } \
    HRESULT STDMETHODCALLTYPE put_##name(type in) override { return Put("IContact::put_" #name, id, in); }
    KEZ_CONTACT_ACCESSORS(KEZ_ACCESSOR)
#undef KEZ_ACCESSOR

    IDispatch* Typed() override { return static_cast<IContact*>(this); }
    REFIID TypedId() const override { return IID_IContact; }
    std::optional<Value> Calculated(CEPROPID id, const PropertyBag& values) const override;
    HRESULT PutValue(const PropertyRow& row, const Value* value) override;
    void AfterSave() override { m_fileAsIsExplicit = false; }

 private:
    ItemBase& Item() override { return *this; }

    HRESULT Get(const char* method, CEPROPID id, BSTR* out);
    HRESULT Get(const char* method, CEPROPID id, DATE* out);
    HRESULT Put(const char* method, CEPROPID id, BSTR in);
    HRESULT Put(const char* method, CEPROPID id, DATE in);

    // A filing text that was set stands until the next Save; after that a change of the names renews it.
    bool m_fileAsIsExplicit = false;
};

}  // namespace kez::pocketoutlook
