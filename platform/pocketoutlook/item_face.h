// The methods that IContact, ITask and IAppointment have in common, forwarded to the item. An item class derives from
// ItemFace<its interface> first and from ItemBase second:
//
//     class ContactItem final : public ItemFace<IContact>, public ItemBase { ... };
//
// Planned faults carry the interface's name: "IContact::Save" here, "IItem::Save" on the other face.
#pragma once

#include "platform/pocketoutlook/item_base.h"

namespace kez::pocketoutlook {

// A text as a template argument, to put method names together while compiling.
template <std::size_t Length>
struct FixedText {
    char text[Length];
    constexpr FixedText(const char (&from)[Length]) {  // NOLINT: a literal has to convert
        for (std::size_t i = 0; i < Length; i++) text[i] = from[i];
    }
};

template <class Interface>
struct FaceTraits;
template <>
struct FaceTraits<IContact> {
    static constexpr FixedText name = "IContact";
    static constexpr const IID& id = IID_IContact;
};
template <>
struct FaceTraits<ITask> {
    static constexpr FixedText name = "ITask";
    static constexpr const IID& id = IID_ITask;
};
template <>
struct FaceTraits<IAppointment> {
    static constexpr FixedText name = "IAppointment";
    static constexpr const IID& id = IID_IAppointment;
};

template <FixedText Interface, FixedText Method>
struct MethodText {
    static constexpr auto Join() {
        constexpr std::size_t a = sizeof(Interface.text) - 1, b = sizeof(Method.text);
        struct {
            char text[a + 2 + b];
        } joined{};
        for (std::size_t i = 0; i < a; i++) joined.text[i] = Interface.text[i];
        joined.text[a] = joined.text[a + 1] = ':';
        for (std::size_t i = 0; i < b; i++) joined.text[a + 2 + i] = Method.text[i];
        return joined;
    }
    static constexpr auto value = Join();
};

// "IContact::get_Oid" and its like.
template <class Interface, FixedText Method>
inline constexpr const char* kMethod = MethodText<FaceTraits<Interface>::name, Method>::value.text;

template <class Interface>
class ItemFace : public WithoutTypeInformation<Interface> {
 public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) final {
        return Guard(kMethod<Interface, "QueryInterface">, nullptr, out, [&] { return Item().QueryAny(riid, out); });
    }
    ULONG STDMETHODCALLTYPE AddRef() final { return Item().AddRef(); }
    ULONG STDMETHODCALLTYPE Release() final { return Item().Release(); }

    HRESULT STDMETHODCALLTYPE get_Categories(BSTR* out) final {
        return Read(kMethod<Interface, "get_Categories">, out, [&] { return Item().GetText(PIMPR_CATEGORIES, out); });
    }
    HRESULT STDMETHODCALLTYPE put_Categories(BSTR in) final {
        return Run(kMethod<Interface, "put_Categories">, [&] { return Item().PutText(PIMPR_CATEGORIES, in); });
    }
    HRESULT STDMETHODCALLTYPE get_Body(BSTR* out) final {
        return Read(kMethod<Interface, "get_Body">, out, [&] { return Item().GetText(PIMPR_BODY_TEXT, out); });
    }
    HRESULT STDMETHODCALLTYPE put_Body(BSTR in) final {
        return Run(kMethod<Interface, "put_Body">, [&] { return Item().PutText(PIMPR_BODY_TEXT, in); });
    }
    // Notes are kept as text only.
    HRESULT STDMETHODCALLTYPE get_BodyInk(CEBLOB* ink) final {
        return Read(kMethod<Interface, "get_BodyInk">, ink, [] { return E_NOTIMPL; });
    }
    HRESULT STDMETHODCALLTYPE put_BodyInk(CEBLOB*) final {
        return Run(kMethod<Interface, "put_BodyInk">, [] { return E_NOTIMPL; });
    }

    HRESULT STDMETHODCALLTYPE Save() final {
        return Run(kMethod<Interface, "Save">, [&] { return Item().SaveItem(); });
    }
    HRESULT STDMETHODCALLTYPE Delete() final {
        return Run(kMethod<Interface, "Delete">, [&] { return Item().DeleteItem(); });
    }
    HRESULT STDMETHODCALLTYPE Copy(Interface** out) final {
        return Read(kMethod<Interface, "Copy">, out, [&] {
            ItemBase* copy = nullptr;
            const HRESULT hr = Item().CopyItem(&copy);
            if (SUCCEEDED(hr)) *out = static_cast<Interface*>(copy->Typed());
            return hr;
        });
    }
    HRESULT STDMETHODCALLTYPE Display() final {
        return Run(kMethod<Interface, "Display">, [] { return E_NOTIMPL; });
    }
    HRESULT STDMETHODCALLTYPE get_Oid(LONG* oid) final {
        return Read(kMethod<Interface, "get_Oid">, oid, [&] {
            *oid = static_cast<LONG>(Item().Oid());
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) final {
        return Read(kMethod<Interface, "get_Application">, out,
                    [&] { return Item().GetSession().GetApplication(out); });
    }

 protected:
    virtual ItemBase& Item() = 0;

    // A method's body at the edge of the object model; see Guard.
    template <class Body>
    HRESULT Run(const char* method, Body&& body) {
        return Guard(method, &Item().GetSession(), std::forward<Body>(body));
    }
    template <class Out, class Body>
    HRESULT Read(const char* method, Out* out, Body&& body) {
        return Guard(method, &Item().GetSession(), out, std::forward<Body>(body));
    }
};

}  // namespace kez::pocketoutlook
