// Pictures: streams on a property, what Commit and Save make of them, and when a stream is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "tests/platform/pocketoutlook/outlook_session.h"

namespace kez::tests {
namespace {

std::vector<BYTE> Picture(std::size_t bytes, BYTE first = 0) {
    std::vector<BYTE> picture(bytes);
    std::iota(picture.begin(), picture.end(), first);
    return picture;
}

Ref<IStream> Open(const Ref<IItem>& item, DWORD mode) {
    Ref<IStream> stream;
    item->OpenProperty(PIMPR_PICTURE, mode, stream.Out());
    return stream;
}

void Write(const Ref<IItem>& item, const std::vector<BYTE>& picture) {
    const auto stream = Open(item, GENERIC_WRITE);
    ASSERT_TRUE(stream);
    ULONG written = 0;
    EXPECT_EQ(stream->Write(picture.data(), static_cast<ULONG>(picture.size()), &written), S_OK);
    EXPECT_EQ(written, picture.size());
    EXPECT_EQ(stream->Commit(STGC_DEFAULT), S_OK);
}

std::vector<BYTE> ReadAll(const Ref<IItem>& item) {
    const auto stream = Open(item, GENERIC_READ);
    if (!stream) return {};
    std::vector<BYTE> picture(16 << 20);
    ULONG read = 0;
    EXPECT_EQ(stream->Read(picture.data(), static_cast<ULONG>(picture.size()), &read), S_OK);
    picture.resize(read);
    return picture;
}

HRESULT SeekTo(const Ref<IStream>& stream, LONGLONG move, DWORD origin, ULONGLONG* position = nullptr) {
    LARGE_INTEGER distance;
    distance.QuadPart = move;
    ULARGE_INTEGER now{};
    const HRESULT hr = stream->Seek(distance, origin, &now);
    if (position) *position = now.QuadPart;
    return hr;
}

TEST(OutlookStream, APictureIsReadInBlocks) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    const auto picture = Picture(65536);
    Write(AsItem(contact), picture);
    ASSERT_EQ(contact->Save(), S_OK);

    const auto stream = Open(AsItem(outlook.Contact(OidOf(contact))), GENERIC_READ);
    ASSERT_TRUE(stream);
    std::vector<BYTE> buffer(32768);
    for (const ULONG expected : {32768u, 32768u, 0u, 0u}) {
        ULONG read = 99;
        EXPECT_EQ(stream->Read(buffer.data(), 32768, &read), S_OK);
        EXPECT_EQ(read, expected);
    }
}

TEST(OutlookStream, APictureOfSeveralMegabytesComesBackWhole) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    const auto picture = Picture(5'000'001);
    Write(AsItem(contact), picture);
    ASSERT_EQ(contact->Save(), S_OK);
    EXPECT_EQ(ReadAll(AsItem(outlook.Contact(OidOf(contact)))), picture);
}

TEST(OutlookStream, ReadingWithoutAPictureIsDenied) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    IStream* stream = reinterpret_cast<IStream*>(1);
    EXPECT_EQ(item->OpenProperty(PIMPR_PICTURE, GENERIC_READ, &stream), E_ACCESSDENIED);
    EXPECT_EQ(stream, nullptr);
    item->Save();
    EXPECT_EQ(item->OpenProperty(PIMPR_PICTURE, GENERIC_READ, &stream), E_ACCESSDENIED);
    EXPECT_TRUE(Open(item, GENERIC_READ | GENERIC_WRITE)) << "empty, but it can be filled";
}

TEST(OutlookStream, ASecondStreamIsDeniedWhileOneIsOpen) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    Write(item, Picture(10));
    auto stream = Open(item, GENERIC_READ);
    IStream* second = nullptr;
    EXPECT_EQ(item->OpenProperty(PIMPR_PICTURE, GENERIC_READ, &second), E_ACCESSDENIED);
    EXPECT_EQ(item->OpenProperty(PIMPR_PICTURE, GENERIC_WRITE, &second), E_ACCESSDENIED);
    Ref<IStream> note;
    EXPECT_EQ(item->OpenProperty(PIMPR_BODY_BINARY, GENERIC_WRITE, note.Out()), S_OK) << "another property";
    stream = {};
    EXPECT_TRUE(Open(item, GENERIC_READ));
}

TEST(OutlookStream, PropertiesThatAreNoStreamsAndOddModesAreRefused) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    IStream* stream = nullptr;
    EXPECT_EQ(item->OpenProperty(PIMPR_FILEAS, GENERIC_READ, &stream), E_INVALIDARG);
    EXPECT_EQ(item->OpenProperty(0x12340064, GENERIC_WRITE, &stream), E_INVALIDARG);
    EXPECT_EQ(item->OpenProperty(PIMPR_PICTURE, 0, &stream), E_INVALIDARG);
    EXPECT_EQ(item->OpenProperty(PIMPR_PICTURE, 1, &stream), E_INVALIDARG);
    EXPECT_EQ(item->OpenProperty(PIMPR_PICTURE, GENERIC_WRITE, nullptr), E_POINTER);
}

TEST(OutlookStream, CommitShowsThePictureToTheItemAndSaveStoresIt) {
    Outlook outlook;
    const CEOID oid = outlook.AddContact(u"Ann");
    const auto item = AsItem(outlook.Contact(oid));
    Write(item, Picture(10));
    EXPECT_EQ(ReadAll(item), Picture(10));
    EXPECT_FALSE(Open(AsItem(outlook.Contact(oid)), GENERIC_READ)) << "not in the store yet";
    EXPECT_EQ(item->Save(), S_OK);
    EXPECT_EQ(ReadAll(AsItem(outlook.Contact(oid))), Picture(10));
}

TEST(OutlookStream, WithoutCommitNothingComesOfIt) {
    Outlook outlook;
    const auto item = AsItem(outlook.Contact(outlook.AddContact(u"Ann")));
    {
        const auto stream = Open(item, GENERIC_WRITE);
        EXPECT_EQ(stream->Write("abc", 3, nullptr), S_OK);
    }
    EXPECT_EQ(item->Save(), S_OK);
    EXPECT_FALSE(Open(item, GENERIC_READ));
}

TEST(OutlookStream, ACommitWithoutAWriteChangesNothing) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    Write(item, Picture(10));
    item->Save();
    EXPECT_EQ(Open(item, GENERIC_WRITE)->Commit(0), S_OK);
    EXPECT_EQ(item->Save(), S_OK);
    EXPECT_EQ(ReadAll(item), Picture(10));
}

TEST(OutlookStream, AShorterPictureLeavesNothingOfTheOldOne) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    Write(item, Picture(1000));
    item->Save();
    Write(item, Picture(10, 77));
    item->Save();
    EXPECT_EQ(ReadAll(item), Picture(10, 77));
}

TEST(OutlookStream, WritingGoesOnWhereItStopped) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    Write(item, Picture(100));
    {
        const auto stream = Open(item, GENERIC_WRITE);
        stream->Write("ab", 2, nullptr);
        stream->Write("cd", 2, nullptr);
        stream->Commit(0);
    }
    EXPECT_EQ(ReadAll(item), (std::vector<BYTE>{'a', 'b', 'c', 'd'}));
}

TEST(OutlookStream, AStreamForBothOverwritesInPlace) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    Write(item, {1, 2, 3, 4, 5});
    {
        const auto stream = Open(item, GENERIC_READ | GENERIC_WRITE);
        BYTE first = 0;
        ULONG read = 0;
        EXPECT_EQ(stream->Read(&first, 1, &read), S_OK);
        EXPECT_EQ(first, 1);
        stream->Write("\x9", 1, nullptr);
        stream->Commit(0);
    }
    EXPECT_EQ(ReadAll(item), (std::vector<BYTE>{1, 9, 3, 4, 5}));
    {
        const auto stream = Open(item, GENERIC_WRITE);
        EXPECT_EQ(SeekTo(stream, 2, STREAM_SEEK_SET), S_OK);
        stream->Write("\x8", 1, nullptr);
        stream->Commit(0);
    }
    EXPECT_EQ(ReadAll(item), (std::vector<BYTE>{1, 9, 8, 4, 5}))
        << "a write elsewhere than at the beginning cuts nothing";
}

TEST(OutlookStream, TheSizeIsFoundBySeekingToTheEnd) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    Write(item, Picture(100));
    const auto stream = Open(item, GENERIC_READ);
    ULONGLONG position = 0;
    EXPECT_EQ(SeekTo(stream, 0, STREAM_SEEK_END, &position), S_OK);
    EXPECT_EQ(position, 100u);
    EXPECT_EQ(SeekTo(stream, -40, STREAM_SEEK_CUR, &position), S_OK);
    EXPECT_EQ(position, 60u);
    EXPECT_EQ(SeekTo(stream, -1, STREAM_SEEK_SET), E_INVALIDARG);
    EXPECT_EQ(SeekTo(stream, -61, STREAM_SEEK_CUR), E_INVALIDARG);
    EXPECT_EQ(SeekTo(stream, 0, 7), E_INVALIDARG);
    EXPECT_EQ(SeekTo(stream, 200, STREAM_SEEK_SET, &position), S_OK) << "beyond the end";
    BYTE byte = 0;
    ULONG read = 1;
    EXPECT_EQ(stream->Read(&byte, 1, &read), S_OK);
    EXPECT_EQ(read, 0u);
}

TEST(OutlookStream, WhatAStreamMayNotOrCannotDo) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    Write(item, Picture(10));
    BYTE byte = 0;
    ULARGE_INTEGER size{};
    {
        const auto stream = Open(item, GENERIC_READ);
        EXPECT_EQ(stream->Write(&byte, 1, nullptr), E_ACCESSDENIED);
        EXPECT_EQ(stream->SetSize(size), E_ACCESSDENIED);
        EXPECT_EQ(stream->Read(nullptr, 1, nullptr), E_POINTER);
        EXPECT_EQ(stream->Commit(0), S_OK);
        STATSTG stat;
        std::memset(&stat, 0x5A, sizeof(stat));
        EXPECT_EQ(stream->Stat(&stat, STATFLAG_NONAME), E_NOTIMPL);
        EXPECT_EQ(stat.cbSize.u.LowPart, 0x5A5A5A5Au) << "the structure stays as it was";
        EXPECT_EQ(stream->Revert(), E_NOTIMPL);
        EXPECT_EQ(stream->LockRegion(size, size, 0), E_NOTIMPL);
        EXPECT_EQ(stream->UnlockRegion(size, size, 0), E_NOTIMPL);
        IStream* clone = reinterpret_cast<IStream*>(1);
        EXPECT_EQ(stream->Clone(&clone), E_NOTIMPL);
        EXPECT_EQ(clone, nullptr);
    }
    const auto stream = Open(item, GENERIC_WRITE);
    EXPECT_EQ(stream->Read(&byte, 1, nullptr), E_ACCESSDENIED);
    EXPECT_EQ(stream->Write(nullptr, 1, nullptr), E_POINTER);
    EXPECT_EQ(stream->CopyTo(stream.Get(), size, nullptr, nullptr), E_ACCESSDENIED);
    size.QuadPart = 0x80000000;
    EXPECT_EQ(stream->SetSize(size), E_OUTOFMEMORY);
}

TEST(OutlookStream, SizeZeroRemovesThePicture) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    Write(item, Picture(10));
    item->Save();
    {
        const auto stream = Open(item, GENERIC_WRITE);
        EXPECT_EQ(stream->SetSize({}), S_OK);
        EXPECT_EQ(stream->Commit(0), S_OK);
    }
    item->Save();
    EXPECT_FALSE(Open(item, GENERIC_READ));
}

TEST(OutlookStream, OneStreamCopiesToAnother) {
    Outlook outlook;
    const auto from = AsItem(outlook.NewContact());
    const auto to = AsItem(outlook.NewContact());
    Write(from, Picture(200'000));
    {
        const auto source = Open(from, GENERIC_READ);
        const auto target = Open(to, GENERIC_WRITE);
        ULARGE_INTEGER bytes, read{}, written{};
        bytes.QuadPart = 150'000;
        EXPECT_EQ(source->CopyTo(target.Get(), bytes, &read, &written), S_OK);
        EXPECT_EQ(read.QuadPart, 150'000u);
        EXPECT_EQ(written.QuadPart, 150'000u);
        bytes.QuadPart = ~0ull;
        EXPECT_EQ(source->CopyTo(target.Get(), bytes, &read, nullptr), S_OK);
        EXPECT_EQ(read.QuadPart, 50'000u);
        EXPECT_EQ(source->CopyTo(nullptr, bytes, nullptr, nullptr), E_POINTER);
        target->Commit(0);
    }
    EXPECT_EQ(ReadAll(to), Picture(200'000));
}

TEST(OutlookStream, AnOpenStreamKeepsItsItemAlive) {
    Outlook outlook;
    auto item = AsItem(outlook.NewContact());
    Write(item, Picture(10));
    item->Save();
    auto stream = Open(item, GENERIC_READ);
    item = {};
    BYTE bytes[16];
    ULONG read = 0;
    EXPECT_EQ(stream->Read(bytes, sizeof(bytes), &read), S_OK);
    EXPECT_EQ(read, 10u);
}

TEST(OutlookStream, ACopyOfTheItemHasThePicture) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    Write(AsItem(contact), Picture(10));
    contact->Save();
    Ref<IContact> copy;
    ASSERT_EQ(contact->Copy(copy.Out()), S_OK);
    contact->Delete();
    ASSERT_EQ(copy->Save(), S_OK);
    EXPECT_EQ(ReadAll(AsItem(outlook.Contact(OidOf(copy)))), Picture(10));
}

TEST(OutlookStream, QueryInterfaceAnswersForStreams) {
    Outlook outlook;
    const auto stream = Open(AsItem(outlook.NewContact()), GENERIC_WRITE);
    EXPECT_TRUE(Query<IUnknown>(stream, IID_ISequentialStream));
    EXPECT_TRUE(Query<IUnknown>(stream, IID_IStream));
    EXPECT_FALSE(Query<IUnknown>(stream, IID_IDispatch));
}

}  // namespace
}  // namespace kez::tests
