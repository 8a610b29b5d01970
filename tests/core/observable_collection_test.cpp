// Order, indices, CurrentItem and replay of observable collections.
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/observable.h"
#include "core/ref.h"

namespace qv {
namespace {

using Log = std::vector<std::string>;

class Item : public CAddReleaseRef {
public:
    explicit Item(std::string name) : Name(std::move(name)) {}
    std::string Name;
};

class Owner : public CAddReleaseRef {
public:
    observable_collection<Owner, std::wstring> Names{this};
    observable_collection<Owner, CRefPtr<Item>> Items{this};
};

using NameCollection = observable_collection<Owner, std::wstring>;

// Records "<who><+|-><index>:<CurrentItem>:<size of the collection then>".
struct NameWatcher {
    std::string who;
    Log* log;
    std::function<void()> onCall{};

    static void Added(void* self, void* collection, int32_t index) { Note(self, collection, index, "+"); }
    static void Removed(void* self, void* collection, int32_t index) { Note(self, collection, index, "-"); }
    static void Note(void* self, void* collection, int32_t index, const char* kind) {
        auto* watcher = static_cast<NameWatcher*>(self);
        auto* names = static_cast<NameCollection*>(collection);
        std::string item(names->CurrentItem.begin(), names->CurrentItem.end());
        watcher->log->push_back(watcher->who + kind + std::to_string(index) + ":" + item + ":" +
                                std::to_string(names->size()));
        if (watcher->onCall) watcher->onCall();
    }
    static CollectionHandlerPair Pair() { return {&Removed, &Added}; }
};

class ObservableCollectionTest : public testing::Test {
protected:
    void AddNames(std::initializer_list<const wchar_t*> names) {
        for (const wchar_t* name : names) owner->Names.Add(name);
    }

    CRefPtr<Owner> owner = MakeRef<Owner>();
    Log log;
    NameWatcher first{"a", &log};
    NameWatcher second{"b", &log};
};

TEST_F(ObservableCollectionTest, AddAndRemoveCallHandlersOldestFirstWithTheItemsIndex) {
    owner->Names.Subscribe(&first, first.Pair());
    owner->Names.Subscribe(&second, second.Pair());

    AddNames({L"x", L"y", L"z"});
    owner->Names.Remove(L"y");

    // A removal is seen with the collection already without the item, and
    // the item in CurrentItem.
    EXPECT_EQ(log, (Log{"a+0:x:1", "b+0:x:1", "a+1:y:2", "b+1:y:2", "a+2:z:3", "b+2:z:3", "a-1:y:2", "b-1:y:2"}));
    EXPECT_EQ(owner->Names.items(), (std::vector<std::wstring>{L"x", L"z"}));
    EXPECT_TRUE(owner->Names.CurrentItem.empty());
}

TEST_F(ObservableCollectionTest, DuplicatesAreKeptRemoveTakesTheFirstAndAMissingItemRunsNothing) {
    owner->Names.Subscribe(&first, first.Pair());
    AddNames({L"d", L"e", L"d"});
    log.clear();

    owner->Names.Remove(L"D");
    owner->Names.Remove(L"");
    EXPECT_TRUE(log.empty());
    owner->Names.Remove(L"d");
    EXPECT_EQ(log, (Log{"a-0:d:2"}));
    EXPECT_EQ(owner->Names.items(), (std::vector<std::wstring>{L"e", L"d"}));
    owner->Names.Remove(L"d");
    EXPECT_EQ(owner->Names.items(), (std::vector<std::wstring>{L"e"}));
}

TEST_F(ObservableCollectionTest, SubscribingAndUnsubscribingReplayThePresentItemsToThatSubscriberAlone) {
    owner->Names.Subscribe(&first, first.Pair());
    AddNames({L"x", L"y", L"z"});
    log.clear();

    owner->Names.Subscribe(&second, second.Pair());
    EXPECT_EQ(log, (Log{"b+0:x:3", "b+1:y:3", "b+2:z:3"}));
    EXPECT_TRUE(owner->Names.CurrentItem.empty());

    // The leaving subscriber hears every item that stays, in ascending order.
    log.clear();
    owner->Names.Unsubscribe(&first, first.Pair());
    EXPECT_EQ(log, (Log{"a-0:x:3", "a-1:y:3", "a-2:z:3"}));
    EXPECT_EQ(owner->Names.size(), 3u);
    EXPECT_TRUE(owner->Names.CurrentItem.empty());

    log.clear();
    owner->Names.Add(L"w");
    owner->Names.Remove(L"x");
    EXPECT_EQ(log, (Log{"b+3:w:4", "b-0:x:3"}));
}

TEST_F(ObservableCollectionTest, TwoEntriesOfOneHandlerAreCalledTwiceAndOneRemovalRemovesBoth) {
    owner->Names.AddItemAddedHandler({&first, &NameWatcher::Added});
    owner->Names.AddItemAddedHandler({&first, &NameWatcher::Added});
    owner->Names.Add(L"x");
    EXPECT_EQ(log, (Log{"a+0:x:1", "a+0:x:1"}));

    log.clear();
    owner->Names.RemoveItemAddedHandler({&first, &NameWatcher::Added});
    owner->Names.Add(L"y");
    EXPECT_TRUE(log.empty());
}

TEST_F(ObservableCollectionTest, HandlerAddedDuringARemovalIsCalledInTheSameWalk) {
    AddNames({L"x", L"y"});
    first.onCall = [&] {
        if (log.size() == 1) owner->Names.AddItemRemovedHandler({&second, &NameWatcher::Removed});
    };
    owner->Names.AddItemRemovedHandler({&first, &NameWatcher::Removed});
    owner->Names.Remove(L"x");
    EXPECT_EQ(log, (Log{"a-0:x:1", "b-0:x:1"}));
}

// Items that are references: the collection holds a reference per item, and
// CurrentItem lets go of its own after each event.
struct ItemWatcher {
    Log seen;
    static void Note(void* self, void* collection, const char* kind) {
        auto* items = static_cast<observable_collection<Owner, CRefPtr<Item>>*>(collection);
        static_cast<ItemWatcher*>(self)->seen.push_back(kind + items->CurrentItem->Name);
    }
    static void Added(void* self, void* collection, int32_t) { Note(self, collection, "+"); }
    static void Removed(void* self, void* collection, int32_t) { Note(self, collection, "-"); }
};

TEST_F(ObservableCollectionTest, ReferenceItemsAreReleasedWhenRemovedOrWithTheOwnerWhichNotifiesNothing) {
    ItemWatcher watcher;
    owner->Items.Subscribe(&watcher, {&ItemWatcher::Removed, &ItemWatcher::Added});
    CRefPtr<Item> removed = MakeRef<Item>("one");
    CRefPtr<Item> kept = MakeRef<Item>("kept");
    CWeakRefPtr<Item> weakRemoved(removed);
    CWeakRefPtr<Item> weakKept(kept);

    owner->Items.Add(removed);
    EXPECT_FALSE(owner->Items.CurrentItem);
    owner->Items.Remove(removed);
    EXPECT_FALSE(owner->Items.CurrentItem);
    owner->Items.Add(kept);
    removed.reset();
    kept.reset();
    EXPECT_FALSE(weakRemoved.Lock()) << "the collection or CurrentItem kept a reference";
    EXPECT_TRUE(weakKept.Lock());

    owner.reset();
    EXPECT_EQ(watcher.seen, (Log{"+one", "-one", "+kept"}));
    EXPECT_FALSE(weakKept.Lock());
}

}  // namespace
}  // namespace qv
