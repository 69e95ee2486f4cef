// Random work with contacts in two sessions, and after each step two collections that have to show what a plain map
// says.
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <map>

#include "tests/platform/pocketoutlook/outlook_session.h"

namespace kez::tests {
namespace {

constexpr const char16_t* kNames[] = {u"Ann", u"ann", u"Bob", u"Cleo", u"\u00C4nne", u"Zoe", u"bob", u"Dan"};

char16_t Lower(char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c; }

std::u16string Folded(std::u16string text) {
    std::ranges::transform(text, text.begin(), Lower);
    return text;
}

struct Work {
    int action;  // 0, 1 add; 2 change; 3 delete by oid; 4 remove by position; 5 look; 6 reopen a session
    int session;
    int which;
    int name;
};

// The sessions, their collections, and what they have to show.
class World {
 public:
    World() {
        for (int s = 0; s < 2; s++) Start(s);
    }

    void Do(const Work& work) {
        switch (work.action) {
            case 0:
            case 1:
                Add(work);
                break;
            case 2:
                Change(work);
                break;
            case 3:
                Delete(work);
                break;
            case 4:
                Remove(work);
                break;
            case 6:
                Start(work.session);
                break;
            default:
                break;
        }
        Compare(work.session);
        if (work.action == 5) Compare(1 - work.session);
    }

    void Compare(int s) {
        std::vector<std::pair<std::u16string, CEOID>> order;
        for (const auto& [oid, name] : m_model) order.emplace_back(Folded(name), oid);
        std::ranges::sort(order);
        RC_ASSERT(CountOf(m_items[s]) == static_cast<INT>(order.size()));
        for (std::size_t i = 0; i < order.size(); i++) {
            const auto contact = ContactAt(m_items[s], static_cast<INT>(i + 1));
            RC_ASSERT(static_cast<bool>(contact));
            RC_ASSERT(OidOf(contact) == order[i].second);
            BSTR text = nullptr;
            RC_ASSERT(contact->get_FileAs(&text) == S_OK);
            RC_ASSERT(Taken(text) == kernel::ToUtf8(m_model[order[i].second].c_str()));
        }
        RC_ASSERT(!ContactAt(m_items[s], static_cast<INT>(order.size() + 1)));
    }

 private:
    void Start(int s) {
        m_items[s] = {};
        m_apps[s] = Outlook::NewApplication();
        RC_ASSERT(m_apps[s]->Logon(0) == S_OK);
        Ref<IFolder> folder;
        RC_ASSERT(m_apps[s]->GetDefaultFolder(olFolderContacts, folder.Out()) == S_OK);
        RC_ASSERT(folder->get_Items(m_items[s].Out()) == S_OK);
    }
    Ref<IContact> Open(int s, CEOID oid) {
        IDispatch* item = nullptr;
        m_apps[s]->GetItemFromOid(static_cast<LONG>(oid), &item);
        return Ref<IContact>::Attach(static_cast<IContact*>(item));
    }
    CEOID Chosen(int which) const {
        return std::next(m_model.begin(), which % static_cast<int>(m_model.size()))->first;
    }
    void Add(const Work& work) {
        IDispatch* item = nullptr;
        RC_ASSERT(m_items[work.session]->Add(&item) == S_OK);
        const auto contact = Ref<IContact>::Attach(static_cast<IContact*>(item));
        PutText(contact, &IContact::put_FileAs, kNames[work.name]);
        RC_ASSERT(contact->Save() == S_OK);
        RC_ASSERT(m_model.emplace(OidOf(contact), kNames[work.name]).second);
    }
    void Change(const Work& work) {
        if (m_model.empty()) return;
        const CEOID oid = Chosen(work.which);
        const auto contact = Open(work.session, oid);
        PutText(contact, &IContact::put_FileAs, kNames[work.name]);
        RC_ASSERT(contact->Save() == S_OK);
        m_model[oid] = kNames[work.name];
    }
    void Delete(const Work& work) {
        if (m_model.empty()) return;
        const CEOID oid = Chosen(work.which);
        RC_ASSERT(AsItem(Open(work.session, oid))->Delete() == S_OK);
        RC_ASSERT(!Open(1 - work.session, oid));
        m_model.erase(oid);
    }
    void Remove(const Work& work) {
        if (m_model.empty()) return;
        const INT index = 1 + work.which % static_cast<int>(m_model.size());
        const CEOID oid = OidOf(ContactAt(m_items[work.session], index));
        RC_ASSERT(m_items[work.session]->Remove(index) == S_OK);
        m_model.erase(oid);
    }

    Outlook m_outlook;
    Ref<IPOutlookApp2> m_apps[2];
    Ref<IPOutlookItemCollection> m_items[2];
    std::map<CEOID, std::u16string> m_model;
};

TEST(OutlookCollectionRandom, TwoSessionsShowWhatTheModelSays) {
    EXPECT_TRUE(rc::check([] {
        const auto steps = *rc::gen::container<std::vector<Work>>(rc::gen::build<Work>(
            rc::gen::set(&Work::action, rc::gen::inRange(0, 7)), rc::gen::set(&Work::session, rc::gen::inRange(0, 2)),
            rc::gen::set(&Work::which, rc::gen::inRange(0, 1000)), rc::gen::set(&Work::name, rc::gen::inRange(0, 8))));
        World world;
        for (const Work& work : steps) world.Do(work);
    }));
}

}  // namespace
}  // namespace kez::tests
