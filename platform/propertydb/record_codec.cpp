// Between the three forms of a record's properties: the caller's elements, a PropertySet, and the bytes in the volume.
#include "platform/propertydb/record_codec.h"

#include <algorithm>
#include <cstring>

#include "platform/propertydb/volume.h"

namespace kez::propertydb {

namespace {

[[noreturn]] void BadValue(CEPROPID id) {
    throw VolumeError(ERROR_INVALID_PARAMETER, "the value does not fit property " + std::to_string(id >> 16) +
                                                   " of type " + std::to_string(TypeFromPropID(id)));
}

void CheckLength(const PropertyView& view) {
    if (view.size > CEDB_MAXPROPDATASIZE) throw VolumeError(ERROR_BAD_LENGTH, "a property is longer than 65471 bytes");
}

void CopyNumber(void* to, const void* from, std::uint32_t size) {
    if (size == 4) {
        std::memcpy(to, from, 4);
    } else if (size == 8) {
        std::memcpy(to, from, 8);
    } else {
        std::memcpy(to, from, 2);
    }
}

void SortLastCounts(PropertyViews& views) {
    const auto byId = [](const PropertyView& a, const PropertyView& b) { return a.id < b.id; };
    if (!std::is_sorted(views.begin(), views.end(), byId)) std::stable_sort(views.begin(), views.end(), byId);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < views.size(); ++i) {
        if (i + 1 < views.size() && views[i + 1].id == views[i].id) continue;
        if (kept != i) views[kept] = views[i];
        ++kept;
    }
    views.resize(kept);
}

// Into a view as it is made.
void View(const CEPROPVAL& value, PropertyView& view) {
    view.id = value.propid;
    const int size = FixedSize(view.Type());
    if (size < 0) BadValue(view.id);
    if (value.wFlags & CEDB_PROPDELETE) {
        view.removed = true;
        return;
    }
    static constexpr BYTE kNothing[1] = {};
    if (view.Type() == CEVT_LPWSTR) {
        if (!value.val.lpwstr) BadValue(view.id);
        view.bytes = reinterpret_cast<const BYTE*>(value.val.lpwstr);
        const auto* text = static_cast<const WCHAR*>(value.val.lpwstr);
        view.size = static_cast<std::uint32_t>(std::char_traits<WCHAR>::length(text) * 2);
    } else if (view.Type() == CEVT_BLOB) {
        if (value.val.blob.dwCount && !value.val.blob.lpb) BadValue(view.id);
        view.bytes = value.val.blob.lpb ? value.val.blob.lpb : kNothing;
        view.size = value.val.blob.dwCount;
    } else if (view.Type() == CEVT_BOOL) {
        const BOOL truth = value.val.boolVal != 0;
        view.size = sizeof truth;
        std::memcpy(view.number, &truth, sizeof truth);
    } else {
        view.size = static_cast<std::uint32_t>(size);
        CopyNumber(view.number, &value.val, view.size);
    }
    CheckLength(view);
}

std::size_t EncodedSize(const PropertyView& view) {
    return sizeof view.id + (view.bytes ? sizeof view.size : 0) + view.size;
}

void CheckRecordLength(std::size_t size, std::size_t limit) {
    if (size > limit)
        throw VolumeError(ERROR_BAD_LENGTH, "a record is longer than " + std::to_string(limit) + " bytes");
}

// Writes an entry and returns the place behind it. Numbers are copied in steps whose length the compiler knows.
char* Put(const PropertyView& view, char* at) {
    std::memcpy(at, &view.id, sizeof view.id);
    at += sizeof view.id;
    if (view.bytes) {
        std::memcpy(at, &view.size, sizeof view.size);
        std::memcpy(at + sizeof view.size, view.bytes, view.size);
        return at + sizeof view.size + view.size;
    }
    CopyNumber(at, view.number, view.size);
    return at + view.size;
}

std::uint32_t Read32(const char* at) {
    std::uint32_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

Value ValueOf(const PropertyView& view) {
    const auto number = [&view]<class T>(T) {
        T value;
        std::memcpy(&value, view.Data(), sizeof value);
        return value;
    };
    switch (view.Type()) {
        case CEVT_I2:
            return std::int64_t{number(SHORT{})};
        case CEVT_UI2:
            return std::int64_t{number(USHORT{})};
        case CEVT_I4:
        case CEVT_AUTO_I4:
            return std::int64_t{number(LONG{})};
        case CEVT_UI4:
        case CEVT_RECID:
            return std::int64_t{number(ULONG{})};
        case CEVT_BOOL:
            return std::int64_t{number(BOOL{}) != 0};
        case CEVT_R8:
            return number(double{});
        case CEVT_LPWSTR: {
            std::u16string text(view.size / 2, u'\0');
            if (view.size) std::memcpy(text.data(), view.bytes, text.size() * 2);
            return text;
        }
        case CEVT_BLOB:
            return Bytes(view.bytes, view.bytes + view.size);
        default:
            return number(std::int64_t{});
    }
}

}  // namespace

bool PropertyView::SameValue(const PropertyView& other) const {
    return removed == other.removed && size == other.size && std::memcmp(Data(), other.Data(), size) == 0;
}

PropertyView ViewOf(const CEPROPVAL& value) {
    PropertyView view;
    View(value, view);
    return view;
}

PropertyView ViewOf(const PropertySet::Entry& entry) {
    PropertyView view;
    view.id = entry.id;
    const int size = FixedSize(view.Type());
    if (size < 0) BadValue(view.id);
    if (std::holds_alternative<std::monostate>(entry.value)) {
        view.removed = true;
        return view;
    }
    static constexpr BYTE kNothing[1] = {};
    if (view.Type() == CEVT_LPWSTR) {
        const auto* text = std::get_if<std::u16string>(&entry.value);
        if (!text) BadValue(view.id);
        view.bytes = reinterpret_cast<const BYTE*>(text->data());
        view.size = static_cast<std::uint32_t>(std::char_traits<char16_t>::length(text->c_str()) * 2);
    } else if (view.Type() == CEVT_BLOB) {
        const auto* bytes = std::get_if<Bytes>(&entry.value);
        if (!bytes) BadValue(view.id);
        view.bytes = bytes->empty() ? kNothing : bytes->data();
        view.size = static_cast<std::uint32_t>(bytes->size());
    } else if (view.Type() == CEVT_R8) {
        const auto* real = std::get_if<double>(&entry.value);
        if (!real) BadValue(view.id);
        view.size = sizeof *real;
        std::memcpy(view.number, real, sizeof *real);
    } else {
        const auto* number = std::get_if<std::int64_t>(&entry.value);
        if (!number) BadValue(view.id);
        const std::int64_t stored = view.Type() == CEVT_BOOL ? *number != 0 : *number;
        view.size = static_cast<std::uint32_t>(size);
        std::memcpy(view.number, &stored, view.size);
    }
    CheckLength(view);
    return view;
}

void ViewsOf(std::span<const CEPROPVAL> values, PropertyViews& views) {
    views.clear();
    views.reserve(values.size());
    bool ascending = true;  // as careful callers give them: then there is nothing to sort
    for (const CEPROPVAL& value : values) {
        ascending = ascending && (views.empty() || views.back().id < value.propid);
        View(value, views.emplace_back());
    }
    if (!ascending) SortLastCounts(views);
}

void ViewsOf(const PropertySet& properties, PropertyViews& views) {
    views.clear();
    for (const PropertySet::Entry& entry : properties) views.push_back(ViewOf(entry));
}

void Decode(std::string_view record, PropertyViews& views) {
    views.clear();
    const char* at = record.data();
    const char* end = at + record.size();
    const auto need = [&at, end](std::size_t bytes) {
        if (static_cast<std::size_t>(end - at) < bytes) {
            throw VolumeError(ERROR_INTERNAL_DB_CORRUPTION, "a record's bytes end inside a property");
        }
    };
    while (at != end) {
        PropertyView& view = views.emplace_back();
        need(4);
        view.id = Read32(at);
        at += 4;
        const int size = FixedSize(view.Type());
        if (size < 0) throw VolumeError(ERROR_INTERNAL_DB_CORRUPTION, "a record holds a property of no known type");
        if (size > 0) {
            need(static_cast<std::size_t>(size));
            view.size = static_cast<std::uint32_t>(size);
            CopyNumber(view.number, at, view.size);
        } else {
            need(4);
            view.size = Read32(at);
            at += 4;
            need(view.size);
            view.bytes = reinterpret_cast<const BYTE*>(at);
        }
        at += view.size;
    }
}

PropertySet DecodeSet(std::string_view record) {
    thread_local PropertyViews views;
    Decode(record, views);
    PropertySet set;
    set.Reserve(views.size());
    CEPROPID last = 0;
    for (const PropertyView& view : views) {
        if (view.id > last) {
            set.Append(view.id, ValueOf(view));
        } else {
            set.Set(view.id, ValueOf(view));  // not as this code writes them
        }
        last = std::max(last, view.id);
    }
    return set;
}

void Encode(const PropertyViews& views, std::string& record, std::size_t limit) {
    std::size_t size = 0;
    for (const PropertyView& view : views) {
        if (!view.removed) size += EncodedSize(view);
    }
    CheckRecordLength(size, limit);
    record.resize(size);
    char* at = record.data();
    for (const PropertyView& view : views) {
        if (!view.removed) at = Put(view, at);
    }
}

void EncodeMerged(std::string_view before, const PropertyViews& old, const PropertyViews& changes,
                  std::string& record) {
    std::size_t size = before.size();
    for (const PropertyView& change : changes) size += EncodedSize(change);
    record.resize(size);  // at most
    char* at = record.data();
    const char* kept = before.data();  // up to here the old bytes are done with
    const char* next = kept;           // the entry of `view`
    auto view = old.begin();
    for (const PropertyView& change : changes) {
        while (view != old.end() && view->id < change.id) next += EncodedSize(*view++);
        at = std::copy(kept, next, at);
        if (view != old.end() && view->id == change.id) next += EncodedSize(*view++);
        kept = next;
        if (!change.removed) at = Put(change, at);
    }
    at = std::copy(kept, before.data() + before.size(), at);
    record.resize(static_cast<std::size_t>(at - record.data()));
    CheckRecordLength(record.size(), CEDB_MAXRECORDSIZE);
}

void Merge(const PropertyViews& old, const PropertyViews& changes, PropertyViews& merged) {
    merged.clear();
    auto at = old.begin();
    for (const PropertyView& change : changes) {
        while (at != old.end() && at->id < change.id) merged.push_back(*at++);
        if (at != old.end() && at->id == change.id) ++at;
        if (!change.removed) merged.push_back(change);
    }
    merged.insert(merged.end(), at, old.end());
}

}  // namespace kez::propertydb
