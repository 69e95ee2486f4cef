// IRecipients and IRecipient with its successors on the list that an appointment holds.
#include "platform/pocketoutlook/recipients.h"

#include <cstring>

#include "platform/pocketoutlook/appointment_base.h"

namespace kez::pocketoutlook {
namespace {

// The properties of a recipient's row.
constexpr CEPROPID kRecipientName = 0x0001001F;
constexpr CEPROPID kRecipientAddress = 0x0002001F;
constexpr CEPROPID kRecipientType = 0x00030013;
constexpr CEPROPID kRecipientStatus = 0x00040013;

HRESULT TextResult(const std::u16string& text, BSTR* out) {
    *out = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *out ? S_OK : E_OUTOFMEMORY;
}

void AppendNumber(propertydb::Bytes& bytes, std::uint32_t number) {
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<BYTE>(number >> shift));
}

void AppendText(propertydb::Bytes& bytes, const std::u16string& text) {
    AppendNumber(bytes, static_cast<std::uint32_t>(text.size()));
    for (const char16_t unit : text) {
        bytes.push_back(static_cast<BYTE>(unit));
        bytes.push_back(static_cast<BYTE>(unit >> 8));
    }
}

// Takes numbers and texts from the front of a packed list; all of them fail once one did.
class Unpacker {
 public:
    explicit Unpacker(const propertydb::Bytes& bytes) : m_bytes(bytes) {}

    bool AtEnd() const { return m_at == m_bytes.size(); }
    bool Number(std::uint32_t& number) {
        if (m_bytes.size() - m_at < 4) return false;
        number = 0;
        for (int shift = 0; shift < 32; shift += 8) number |= std::uint32_t{m_bytes[m_at++]} << shift;
        return true;
    }
    bool Text(std::u16string& text) {
        std::uint32_t length = 0;
        if (!Number(length) || (m_bytes.size() - m_at) / 2 < length) return false;
        for (; length > 0; --length, m_at += 2) {
            text.push_back(static_cast<char16_t>(m_bytes[m_at] | (m_bytes[m_at + 1] << 8)));
        }
        return true;
    }

 private:
    const propertydb::Bytes& m_bytes;
    std::size_t m_at = 0;
};

}  // namespace

PropertyBag RecipientRow(const RecipientData& recipient) {
    PropertyBag row;
    row.SetText(kRecipientName, recipient.name);
    row.SetText(kRecipientAddress, recipient.address);
    row.SetNumber(kRecipientType, recipient.type);
    row.SetNumber(kRecipientStatus, recipient.status);
    return row;
}

RecipientData RecipientFrom(const PropertyBag& row) {
    return {std::u16string(row.Text(kRecipientName)), std::u16string(row.Text(kRecipientAddress)),
            static_cast<OlRecipientType>(row.Number(kRecipientType)),
            static_cast<OlRecipientStatus>(row.Number(kRecipientStatus))};
}

propertydb::Bytes PackRecipients(const std::vector<RecipientData>& recipients) {
    propertydb::Bytes bytes;
    for (const RecipientData& recipient : recipients) {
        AppendText(bytes, recipient.name);
        AppendText(bytes, recipient.address);
        AppendNumber(bytes, static_cast<std::uint32_t>(recipient.type));
        AppendNumber(bytes, static_cast<std::uint32_t>(recipient.status));
    }
    return bytes;
}

std::vector<RecipientData> UnpackRecipients(const propertydb::Bytes& bytes) {
    std::vector<RecipientData> recipients;
    Unpacker unpacker(bytes);
    while (!unpacker.AtEnd()) {
        RecipientData recipient;
        std::uint32_t type = 0;
        std::uint32_t status = 0;
        if (!unpacker.Text(recipient.name) || !unpacker.Text(recipient.address) || !unpacker.Number(type) ||
            !unpacker.Number(status)) {
            break;
        }
        recipient.type = static_cast<OlRecipientType>(type);
        recipient.status = static_cast<OlRecipientStatus>(status);
        recipients.push_back(std::move(recipient));
    }
    return recipients;
}

RecipientCollection::RecipientCollection(Ref<AppointmentBase> item) : m_item(std::move(item)) {}
RecipientCollection::~RecipientCollection() = default;

HRESULT RecipientCollection::Add(BSTR name, IRecipient** out) {
    return Guard("IRecipients::Add", &m_item->GetSession(), out, [&]() -> HRESULT {
        if (!name || !*name) return E_INVALIDARG;
        auto data = std::make_shared<RecipientData>();
        data->name = name;
        Ref<Recipient> recipient = Ref<Recipient>::Attach(new Recipient(m_item, data));
        m_item->Recipients().push_back(std::move(data));
        *out = recipient.Detach();
        return S_OK;
    });
}

HRESULT RecipientCollection::Item(INT index, IRecipient** out) {
    return Guard("IRecipients::Item", &m_item->GetSession(), out, [&]() -> HRESULT {
        const auto& list = m_item->Recipients();
        if (index < 1 || static_cast<std::size_t>(index) > list.size()) return E_INVALIDARG;
        *out = new Recipient(m_item, list[static_cast<std::size_t>(index) - 1]);
        return S_OK;
    });
}

HRESULT RecipientCollection::Remove(INT index) {
    return Guard("IRecipients::Remove", &m_item->GetSession(), [&]() -> HRESULT {
        auto& list = m_item->Recipients();
        if (index < 1 || static_cast<std::size_t>(index) > list.size()) return E_INVALIDARG;
        list.erase(list.begin() + (index - 1));
        return S_OK;
    });
}

HRESULT RecipientCollection::get_Count(INT* count) {
    return Guard("IRecipients::get_Count", &m_item->GetSession(), count, [&] {
        *count = static_cast<INT>(m_item->Recipients().size());
        return S_OK;
    });
}

HRESULT RecipientCollection::get__NewEnum(IUnknown** out) {
    return Guard("IRecipients::get__NewEnum", &m_item->GetSession(), out, [] { return E_NOTIMPL; });
}

HRESULT RecipientCollection::get_Application(IPOutlookApp** out) {
    return Guard("IRecipients::get_Application", &m_item->GetSession(), out,
                 [&] { return m_item->GetSession().GetApplication(out); });
}

Recipient::Recipient(Ref<AppointmentBase> item, std::shared_ptr<RecipientData> data)
    : m_item(std::move(item)), m_data(std::move(data)) {}
Recipient::~Recipient() = default;

HRESULT Recipient::put_Address(BSTR in) {
    return Guard("IRecipient::put_Address", &m_item->GetSession(), [&]() -> HRESULT {
        if (!in || !*in) return E_INVALIDARG;
        m_data->address = in;
        return S_OK;
    });
}

HRESULT Recipient::get_Address(BSTR* out) {
    return Guard("IRecipient::get_Address", &m_item->GetSession(), out,
                 [&] { return TextResult(m_data->address, out); });
}

HRESULT Recipient::get_Name(BSTR* out) {
    return Guard("IRecipient::get_Name", &m_item->GetSession(), out, [&] { return TextResult(m_data->name, out); });
}

HRESULT Recipient::get_Application(IPOutlookApp** out) {
    return Guard("IRecipient::get_Application", &m_item->GetSession(), out,
                 [&] { return m_item->GetSession().GetApplication(out); });
}

// There is no address book to resolve a name with.
HRESULT Recipient::Resolve(VARIANT_BOOL, VARIANT_BOOL* resolved) {
    return Guard("IPOlRecipient::Resolve", &m_item->GetSession(), resolved, [] { return E_NOTIMPL; });
}

HRESULT Recipient::put_Type(OlRecipientType in) {
    return Guard("IRecipient2::put_Type", &m_item->GetSession(), [&]() -> HRESULT {
        if (in < olRecipientTypeUnknown || in > olRecipientTypeResource) return E_INVALIDARG;
        m_data->type = in;
        return S_OK;
    });
}

HRESULT Recipient::put_Status(OlRecipientStatus in) {
    return Guard("IRecipient2::put_Status", &m_item->GetSession(), [&]() -> HRESULT {
        if (in < olRecipientStatusUnknown || in > olRecipientStatusNoResponse) return E_INVALIDARG;
        m_data->status = in;
        return S_OK;
    });
}

HRESULT Recipient::get_Type(OlRecipientType* out) {
    return Guard("IRecipient2::get_Type", &m_item->GetSession(), out, [&] {
        *out = m_data->type;
        return S_OK;
    });
}

HRESULT Recipient::get_Status(OlRecipientStatus* out) {
    return Guard("IRecipient2::get_Status", &m_item->GetSession(), out, [&] {
        *out = m_data->status;
        return S_OK;
    });
}

}  // namespace kez::pocketoutlook
