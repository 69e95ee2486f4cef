// Contacts.
#include "platform/pocketoutlook/contact_item.h"

#include <array>

#include "platform/pocketoutlook/item_classes.h"

namespace kez::pocketoutlook {
namespace {

const bool g_registered = RegisterItemClass(
    {olContactItem, [](std::shared_ptr<Session> session) -> ItemBase* { return new ContactItem(std::move(session)); }});

// What a composed address is made of.
struct AddressRow {
    CEPROPID composed, street, city, state, postalCode, country;
};
constexpr auto kAddresses = std::to_array<AddressRow>({
    {PIMPR_BUSINESS_ADDRESS, PIMPR_BUSINESS_ADDRESS_STREET, PIMPR_BUSINESS_ADDRESS_CITY, PIMPR_BUSINESS_ADDRESS_STATE,
     PIMPR_BUSINESS_ADDRESS_POSTAL_CODE, PIMPR_BUSINESS_ADDRESS_COUNTRY},
    {PIMPR_HOME_ADDRESS, PIMPR_HOME_ADDRESS_STREET, PIMPR_HOME_ADDRESS_CITY, PIMPR_HOME_ADDRESS_STATE,
     PIMPR_HOME_ADDRESS_POSTAL_CODE, PIMPR_HOME_ADDRESS_COUNTRY},
    {PIMPR_OTHER_ADDRESS, PIMPR_OTHER_ADDRESS_STREET, PIMPR_OTHER_ADDRESS_CITY, PIMPR_OTHER_ADDRESS_STATE,
     PIMPR_OTHER_ADDRESS_POSTAL_CODE, PIMPR_OTHER_ADDRESS_COUNTRY},
});

std::u16string Joined(std::u16string_view a, std::u16string_view separator, std::u16string_view b) {
    std::u16string text(a);
    if (!a.empty() && !b.empty()) text += separator;
    return text += b;
}

// Street, then "city, state code", then country, a line each.
std::u16string ComposedAddress(const AddressRow& row, const PropertyBag& values) {
    const auto place =
        Joined(values.Text(row.city), u", ", Joined(values.Text(row.state), u" ", values.Text(row.postalCode)));
    return Joined(Joined(values.Text(row.street), u"\r\n", place), u"\r\n", values.Text(row.country));
}

// "LastName, FirstName", or what there is of it; without a name the company, without that the first e-mail address.
std::u16string DefaultFileAs(const PropertyBag& values) {
    auto text = Joined(values.Text(PIMPR_LAST_NAME), u", ", values.Text(PIMPR_FIRST_NAME));
    if (text.empty()) text = values.Text(PIMPR_COMPANY_NAME);
    if (text.empty()) text = values.Text(PIMPR_EMAIL1_ADDRESS);
    return text.substr(0, FindProperty(olContactItem, PIMPR_FILEAS)->limit);
}

// Whether a change of this property can change the default filing text.
bool NamesTheContact(CEPROPID id) {
    return id == PIMPR_LAST_NAME || id == PIMPR_FIRST_NAME || id == PIMPR_COMPANY_NAME || id == PIMPR_EMAIL1_ADDRESS;
}

}  // namespace

ContactItem::ContactItem(std::shared_ptr<Session> session) : ItemBase(std::move(session), olContactItem) {}

HRESULT ContactItem::Get(const char* method, CEPROPID id, BSTR* out) {
    return Read(method, out, [&] { return GetText(id, out); });
}

HRESULT ContactItem::Get(const char* method, CEPROPID id, DATE* out) {
    return Read(method, out, [&] { return GetDate(id, out); });
}

HRESULT ContactItem::Put(const char* method, CEPROPID id, BSTR in) {
    return Run(method, [&] { return PutText(id, in); });
}

HRESULT ContactItem::Put(const char* method, CEPROPID id, DATE in) {
    return Run(method, [&] { return PutDate(id, in); });
}

std::optional<Value> ContactItem::Calculated(CEPROPID id, const PropertyBag& values) const {
    std::u16string text;
    if (id == PIMPR_SMS || id == PIMPR_MMS) text = values.Text(PIMPR_MOBILE_TELEPHONE_NUMBER);
    if (id == PIMPR_DISPLAY_NAME) {
        text = Joined(values.Text(PIMPR_FIRST_NAME), u" ", values.Text(PIMPR_LAST_NAME));
        if (text.empty()) text = values.Text(PIMPR_FILEAS);
    }
    for (const AddressRow& row : kAddresses) {
        if (row.composed == id) text = ComposedAddress(row, values);
    }
    return text.empty() ? std::nullopt : std::optional(Value(std::move(text)));
}

HRESULT ContactItem::PutValue(const PropertyRow& row, const Value* value) {
    const std::u16string before = NamesTheContact(row.id) ? DefaultFileAs(Values()) : std::u16string();
    if (HRESULT hr = ItemBase::PutValue(row, value); hr != S_OK) return hr;
    if (row.id == PIMPR_FILEAS) {
        m_fileAsIsExplicit = Values().Has(PIMPR_FILEAS);
        if (!m_fileAsIsExplicit) Values().SetText(PIMPR_FILEAS, DefaultFileAs(Values()));
    } else if (NamesTheContact(row.id) && !m_fileAsIsExplicit) {
        auto now = DefaultFileAs(Values());
        if (now != before) Values().Set(PIMPR_FILEAS, Value(std::move(now)));
    }
    return S_OK;
}

}  // namespace kez::pocketoutlook
