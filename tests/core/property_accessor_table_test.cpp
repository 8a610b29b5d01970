// The process-wide table from property name to accessor, and setting a
// property through its type-erased root, as the native-host protocol does.
#include <string>

#include <gtest/gtest.h>

#include "core/observable.h"
#include "core/ref.h"

namespace qv {
namespace {

// The names are unique to this file: the table is shared by the whole test
// program, and the rows of other tests must not interfere.
class FirstKind : public CAddReleaseRef {
public:
    observable_property<FirstKind, int> Shared{this, "AccessorTest.Shared"};
    observable_property<FirstKind, std::string> Label{this, "AccessorTest.Label"};
    observable_property<FirstKind, std::wstring> Title{this, "AccessorTest.Title"};
    observable_property<FirstKind, int> Count{this, "AccessorTest.Count"};
};

class SecondKind : public CAddReleaseRef {
public:
    // Puts its property of the shared name at another offset than FirstKind's.
    double padding[5] = {};
    observable_property<SecondKind, int> Shared{this, "AccessorTest.Shared"};
};

_observable_property_base* Access(const std::string& name, void* object) {
    const PropertyAccessorTable::Accessor* accessor = PropertyAccessorTable::Instance().Find(name);
    return accessor ? (*accessor)(object) : nullptr;
}

TEST(PropertyAccessorTable, TwoClassesShareARowAndTheClassFirstBuiltLaterWins) {
    auto& table = PropertyAccessorTable::Instance();
    EXPECT_EQ(table.Find("AccessorTest.Shared"), nullptr);

    CRefPtr<FirstKind> first = MakeRef<FirstKind>();
    EXPECT_EQ(Access("AccessorTest.Shared", first.get()), &first->Shared);
    EXPECT_EQ(Access("AccessorTest.Label", first.get()), &first->Label);

    const std::size_t rows = table.size();
    CRefPtr<SecondKind> second = MakeRef<SecondKind>();
    EXPECT_EQ(table.size(), rows) << "a shared name must not make a second row";
    EXPECT_EQ(Access("AccessorTest.Shared", second.get()), &second->Shared);

    // Building a FirstKind again does not take the row back: each class
    // enters its names once.
    CRefPtr<FirstKind> again = MakeRef<FirstKind>();
    EXPECT_EQ(Access("AccessorTest.Shared", second.get()), &second->Shared);
    EXPECT_EQ(Access("AccessorTest.Label", again.get()), &again->Label);

    // By object, each class finds its own property of the shared name, and a
    // class without the name finds none rather than foreign memory.
    EXPECT_EQ(table.PropertyOf("AccessorTest.Shared", first.get()), &first->Shared);
    EXPECT_EQ(table.PropertyOf("AccessorTest.Shared", second.get()), &second->Shared);
    EXPECT_EQ(table.PropertyOf("AccessorTest.Label", second.get()), nullptr);

    EXPECT_EQ(table.Find("AccessorTest.Missing"), nullptr);
    EXPECT_EQ(table.Find("accessortest.label"), nullptr) << "names are case sensitive";
}

struct Counter {
    int changes = 0;
    static void Changed(void* self, void*, CallbackCallReason reason) {
        if (reason == CallbackCallReason::ValueChanged) ++static_cast<Counter*>(self)->changes;
    }
};

// The other tests stay off the shared row: it now serves SecondKind only.
TEST(PropertyAccessorTable, SetThroughTheRootReachesOnlyPropertiesOfItsTypeAndRunsTheHandlers) {
    CRefPtr<FirstKind> object = MakeRef<FirstKind>();
    Counter counter;
    const PropertyHandlerEntry entry{&counter, nullptr, &Counter::Changed};
    object->Count.AddChangedHandler(entry);
    object->Label.AddChangedHandler(entry);
    object->Title.AddChangedHandler(entry);

    Access("AccessorTest.Count", object.get())->set(std::string("7"));
    Access("AccessorTest.Title", object.get())->set(std::string("text"));
    Access("AccessorTest.Count", object.get())->set(std::wstring(L"7"));
    Access("AccessorTest.Title", object.get())->set(std::wstring(L"text"));
    EXPECT_EQ(object->Count.value(), 0);
    EXPECT_TRUE(object->Title.value().empty());
    EXPECT_EQ(counter.changes, 0);

    Access("AccessorTest.Label", object.get())->set(std::string("text"));
    Access("AccessorTest.Label", object.get())->set(std::string("text"));
    Access("AccessorTest.Label", object.get())->set(std::wstring(L"other"));
    EXPECT_EQ(object->Label.value(), "text");
    EXPECT_EQ(counter.changes, 1) << "an equal value set by name is no change either";

    auto* typed = dynamic_cast<observable_property_base<int>*>(Access("AccessorTest.Count", object.get()));
    ASSERT_NE(typed, nullptr);
    typed->set(42);
    EXPECT_EQ(typed->get(), 42);
    EXPECT_EQ(object->Count.value(), 42);
    EXPECT_EQ(counter.changes, 2);
    EXPECT_EQ(dynamic_cast<observable_property_base<int>*>(Access("AccessorTest.Label", object.get())), nullptr);

    object->Count.RemoveChangedHandler(entry);
    object->Label.RemoveChangedHandler(entry);
    object->Title.RemoveChangedHandler(entry);
}

}  // namespace
}  // namespace qv
