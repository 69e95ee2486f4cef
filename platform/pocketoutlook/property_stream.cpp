// Streams on properties.
#include "platform/pocketoutlook/property_stream.h"

#include <algorithm>
#include <limits>

namespace kez::pocketoutlook {
namespace {

constexpr std::uint64_t kLargest = 0x7FFFFFFF;
constexpr ULONG kCopyBlock = 65'536;

}  // namespace

PropertyStream::PropertyStream(ItemBase& item, ItemBase::StreamState& state, DWORD mode)
    : m_item(Ref<ItemBase>::Share(&item)), m_state(state), m_mode(mode) {
    m_state.open = true;
}

PropertyStream::~PropertyStream() { m_state.open = false; }

propertydb::Bytes& PropertyStream::Content() {
    if (!m_loaded) {
        m_content = m_item->StreamBytes(m_state);
        m_loaded = true;
    }
    return m_content;
}

HRESULT PropertyStream::QueryInterface(REFIID riid, void** out) {
    return Guard("IStream::QueryInterface", nullptr, out, [&] { return ComObject::QueryInterface(riid, out); });
}

HRESULT PropertyStream::Read(void* buffer, ULONG bytes, ULONG* read) {
    return Guard("IStream::Read", &m_item->GetSession(), [&] {
        if (read) *read = 0;
        if (!buffer) return E_POINTER;
        if (!(m_mode & GENERIC_READ)) return E_ACCESSDENIED;
        const auto& content = Content();
        const std::uint64_t left = content.size() - std::min<std::uint64_t>(m_position, content.size());
        const auto now = static_cast<ULONG>(std::min<std::uint64_t>(bytes, left));
        std::copy_n(content.begin() + static_cast<std::ptrdiff_t>(content.size() - left), now,
                    static_cast<BYTE*>(buffer));
        m_position += now;
        if (read) *read = now;
        return S_OK;
    });
}

HRESULT PropertyStream::Write(const void* buffer, ULONG bytes, ULONG* written) {
    return Guard("IStream::Write", &m_item->GetSession(), [&] {
        if (written) *written = 0;
        if (!buffer) return E_POINTER;
        if (!(m_mode & GENERIC_WRITE)) return E_ACCESSDENIED;
        if (m_mode == GENERIC_WRITE && !m_touched && m_position == 0) {
            m_content.clear();
            m_loaded = true;
        }
        auto& content = Content();
        const std::uint64_t end = m_position + bytes;
        if (end > content.size()) {
            if (HRESULT hr = Resize(end); FAILED(hr)) return hr;
        }
        std::copy_n(static_cast<const BYTE*>(buffer), bytes, content.begin() + static_cast<std::ptrdiff_t>(m_position));
        m_touched = true;
        m_position = end;
        if (written) *written = bytes;
        return S_OK;
    });
}

HRESULT PropertyStream::Resize(std::uint64_t size) {
    if (size > kLargest) return E_OUTOFMEMORY;
    Content().resize(size);
    return S_OK;
}

HRESULT PropertyStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) {
    return Guard("IStream::Seek", &m_item->GetSession(), [&] {
        std::int64_t from = 0;
        if (origin == STREAM_SEEK_CUR) {
            from = static_cast<std::int64_t>(m_position);
        } else if (origin == STREAM_SEEK_END) {
            from = static_cast<std::int64_t>(Content().size());
        } else if (origin != STREAM_SEEK_SET) {
            return E_INVALIDARG;
        }
        if (move.QuadPart < -from || move.QuadPart > static_cast<std::int64_t>(kLargest)) return E_INVALIDARG;
        m_position = static_cast<std::uint64_t>(from + move.QuadPart);
        if (newPosition) newPosition->QuadPart = m_position;
        return S_OK;
    });
}

HRESULT PropertyStream::SetSize(ULARGE_INTEGER size) {
    return Guard("IStream::SetSize", &m_item->GetSession(), [&] {
        if (!(m_mode & GENERIC_WRITE)) return E_ACCESSDENIED;
        if (HRESULT hr = Resize(size.QuadPart); FAILED(hr)) return hr;
        m_touched = true;
        return S_OK;
    });
}

HRESULT PropertyStream::CopyTo(IStream* target, ULARGE_INTEGER bytes, ULARGE_INTEGER* read, ULARGE_INTEGER* written) {
    return Guard("IStream::CopyTo", &m_item->GetSession(), [&] {
        if (read) read->QuadPart = 0;
        if (written) written->QuadPart = 0;
        if (!target) return E_POINTER;
        if (!(m_mode & GENERIC_READ)) return E_ACCESSDENIED;
        const auto& content = Content();
        std::uint64_t left = content.size() - std::min<std::uint64_t>(m_position, content.size());
        left = std::min<std::uint64_t>(left, bytes.QuadPart);
        while (left > 0) {
            const auto block = static_cast<ULONG>(std::min<std::uint64_t>(left, kCopyBlock));
            ULONG now = 0;
            const HRESULT hr = target->Write(content.data() + m_position, block, &now);
            if (FAILED(hr)) return hr;
            m_position += block;
            left -= block;
            if (read) read->QuadPart += block;
            if (written) written->QuadPart += now;
        }
        return S_OK;
    });
}

HRESULT PropertyStream::Commit(DWORD) {
    return Guard("IStream::Commit", &m_item->GetSession(), [&] {
        if (!m_touched) return S_OK;
        m_state.bytes = m_content;
        m_state.pending = true;
        return S_OK;
    });
}

HRESULT PropertyStream::Revert() {
    return Guard("IStream::Revert", &m_item->GetSession(), [] { return E_NOTIMPL; });
}

HRESULT PropertyStream::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    return Guard("IStream::LockRegion", &m_item->GetSession(), [] { return E_NOTIMPL; });
}

HRESULT PropertyStream::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    return Guard("IStream::UnlockRegion", &m_item->GetSession(), [] { return E_NOTIMPL; });
}

// The size is found by seeking to the end; the structure stays as it is.
HRESULT PropertyStream::Stat(STATSTG*, DWORD) {
    return Guard("IStream::Stat", &m_item->GetSession(), [] { return E_NOTIMPL; });
}

HRESULT PropertyStream::Clone(IStream** out) {
    return Guard("IStream::Clone", &m_item->GetSession(), out, [] { return E_NOTIMPL; });
}

}  // namespace kez::pocketoutlook
