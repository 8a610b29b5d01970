// Order, indices, CurrentItem and replay of observable collections.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/observable.h"
#include "core/ref.h"

namespace qv {
namespace {

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

// Records "<who>:<index>:<CurrentItem>:<size of the collection then>".
struct NameWatcher {
    std::string who;
    std::vector<std::string>* log;
    std::function<void(NameWatcher&, int32_t)> onCall{};

    static void Added(void* self, void* collection, int32_t index) { Note(self, collection, index, "+"); }
    static void Removed(void* self, void* collection, int32_t index) { Note(self, collection, index, "-"); }
    static void Note(void* self, void* collection, int32_t index, const char* kind) {
        auto* watcher = static_cast<NameWatcher*>(self);
        auto* names = static_cast<NameCollection*>(collection);
        std::string item(names->CurrentItem.begin(), names->CurrentItem.end());
        watcher->log->push_back(watcher->who + kind + std::to_string(index) + ":" + item + ":" +
                                std::to_string(names->size()));
        if (watcher->onCall) watcher->onCall(*watcher, index);
    }
    static CollectionHandlerPair Pair() { return {&Removed, &Added}; }
};

class ObservableCollectionTest : public testing::Test {
protected:
    CRefPtr<Owner> owner = MakeRef<Owner>();
    std::vector<std::string> log;
    NameWatcher first{"a", &log};
    NameWatcher second{"b", &log};
};

TEST_F(ObservableCollectionTest, AddAndRemoveCallHandlersOldestFirstWithTheItemsIndex) {
    owner->Names.Subscribe(&first, first.Pair());
    owner->Names.Subscribe(&second, second.Pair());

    owner->Names.Add(L"x");
    owner->Names.Add(L"y");
    owner->Names.Add(L"z");
    owner->Names.Remove(L"y");

    // A removal is seen with the collection already without the item, and
    // the item in CurrentItem.
    EXPECT_EQ(log, (std::vector<std::string>{"a+0:x:1", "b+0:x:1", "a+1:y:2", "b+1:y:2", "a+2:z:3", "b+2:z:3",
                                             "a-1:y:2", "b-1:y:2"}));
    EXPECT_EQ(owner->Names.items(), (std::vector<std::wstring>{L"x", L"z"}));
    EXPECT_TRUE(owner->Names.CurrentItem.empty());
}

TEST_F(ObservableCollectionTest, RemovingAMissingItemRunsNothing) {
    owner->Names.Add(L"x");
    owner->Names.Subscribe(&first, first.Pair());
    log.clear();
    owner->Names.Remove(L"X");
    owner->Names.Remove(L"");
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(owner->Names.size(), 1u);
}

TEST_F(ObservableCollectionTest, DuplicatesAreKeptAndRemoveTakesTheFirst) {
    owner->Names.Subscribe(&first, first.Pair());
    owner->Names.Add(L"d");
    owner->Names.Add(L"e");
    owner->Names.Add(L"d");
    log.clear();

    owner->Names.Remove(L"d");
    EXPECT_EQ(log, (std::vector<std::string>{"a-0:d:2"}));
    EXPECT_EQ(owner->Names.items(), (std::vector<std::wstring>{L"e", L"d"}));
    owner->Names.Remove(L"d");
    EXPECT_EQ(owner->Names.items(), (std::vector<std::wstring>{L"e"}));
}

TEST_F(ObservableCollectionTest, AddItemAddedHandlerReplaysPresentItemsToTheNewHandlerAlone) {
    owner->Names.Subscribe(&first, first.Pair());
    owner->Names.Add(L"x");
    owner->Names.Add(L"y");
    owner->Names.Add(L"z");
    log.clear();

    owner->Names.Subscribe(&second, second.Pair());

    EXPECT_EQ(log, (std::vector<std::string>{"b+0:x:3", "b+1:y:3", "b+2:z:3"}));
    EXPECT_TRUE(owner->Names.CurrentItem.empty());
}

TEST_F(ObservableCollectionTest, RemoveItemRemovedHandlerReplaysAllItemsWhichStay) {
    owner->Names.Add(L"x");
    owner->Names.Add(L"y");
    owner->Names.Add(L"z");
    owner->Names.Subscribe(&first, first.Pair());
    owner->Names.Subscribe(&second, second.Pair());
    log.clear();

    owner->Names.Unsubscribe(&first, first.Pair());

    // Only the leaving subscriber hears the replay, in ascending order.
    EXPECT_EQ(log, (std::vector<std::string>{"a-0:x:3", "a-1:y:3", "a-2:z:3"}));
    EXPECT_EQ(owner->Names.size(), 3u);
    EXPECT_TRUE(owner->Names.CurrentItem.empty());

    log.clear();
    owner->Names.Add(L"w");
    owner->Names.Remove(L"x");
    EXPECT_EQ(log, (std::vector<std::string>{"b+3:w:4", "b-0:x:3"}));
}

TEST_F(ObservableCollectionTest, TwoEntriesOfOneHandlerAreCalledTwiceAndOneRemovalRemovesBoth) {
    owner->Names.AddItemAddedHandler({&first, &NameWatcher::Added});
    owner->Names.AddItemAddedHandler({&first, &NameWatcher::Added});
    owner->Names.Add(L"x");
    EXPECT_EQ(log, (std::vector<std::string>{"a+0:x:1", "a+0:x:1"}));

    log.clear();
    owner->Names.RemoveItemAddedHandler({&first, &NameWatcher::Added});
    owner->Names.Add(L"y");
    EXPECT_TRUE(log.empty());
}

TEST_F(ObservableCollectionTest, HandlerAddedDuringARemovalIsCalledInTheSameWalk) {
    owner->Names.Add(L"x");
    owner->Names.Add(L"y");
    first.onCall = [&](NameWatcher&, int32_t) {
        if (log.size() == 1) owner->Names.AddItemRemovedHandler({&second, &NameWatcher::Removed});
    };
    owner->Names.AddItemRemovedHandler({&first, &NameWatcher::Removed});
    owner->Names.Remove(L"x");
    EXPECT_EQ(log, (std::vector<std::string>{"a-0:x:1", "b-0:x:1"}));
}

// Items that are references: the collection holds a reference per item, and
// CurrentItem lets go of its own after each event.
struct ItemWatcher {
    std::vector<std::string> seen;
    static void Added(void* self, void* collection, int32_t index) {
        auto* items = static_cast<observable_collection<Owner, CRefPtr<Item>>*>(collection);
        static_cast<ItemWatcher*>(self)->seen.push_back("+" + items->CurrentItem->Name);
    }
    static void Removed(void* self, void* collection, int32_t index) {
        auto* items = static_cast<observable_collection<Owner, CRefPtr<Item>>*>(collection);
        static_cast<ItemWatcher*>(self)->seen.push_back("-" + items->CurrentItem->Name);
    }
};

TEST_F(ObservableCollectionTest, ReferenceItemsAreReleasedWhenRemovedAndCurrentItemIsClearedAfterEachEvent) {
    ItemWatcher watcher;
    owner->Items.Subscribe(&watcher, {&ItemWatcher::Removed, &ItemWatcher::Added});
    CRefPtr<Item> item = MakeRef<Item>("one");
    CWeakRefPtr<Item> weak(item);

    owner->Items.Add(item);
    EXPECT_FALSE(owner->Items.CurrentItem);
    owner->Items.Remove(item);
    EXPECT_FALSE(owner->Items.CurrentItem);
    EXPECT_EQ(watcher.seen, (std::vector<std::string>{"+one", "-one"}));

    item.reset();
    EXPECT_FALSE(weak.Lock()) << "the collection or CurrentItem kept a reference";
}

TEST_F(ObservableCollectionTest, DestroyingTheOwnerReleasesItemsWithoutNotification) {
    ItemWatcher watcher;
    CRefPtr<Item> item = MakeRef<Item>("kept");
    CWeakRefPtr<Item> weak(item);
    owner->Items.Subscribe(&watcher, {&ItemWatcher::Removed, &ItemWatcher::Added});
    owner->Items.Add(item);
    item.reset();
    watcher.seen.clear();

    owner.reset();
    EXPECT_TRUE(watcher.seen.empty());
    EXPECT_FALSE(weak.Lock());
}

}  // namespace
}  // namespace qv
