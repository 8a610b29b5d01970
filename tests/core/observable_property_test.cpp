// Ordering, replay and re-entrancy of observable properties, and what each
// value type counts as a change.
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "classify/classification.h"
#include "core/common_base.h"

namespace qv {
namespace {

using Calls = std::vector<std::string>;

// An owner with properties of the kinds the model uses.
class Owner : public CAddReleaseRef {
public:
    observable_property<Owner, int> Number{this, "Number"};
    observable_property<Owner, float> Level{this, "Level"};
    observable_property<Owner, CClassification> Result{this, "Result"};
};

// Records every call as "<who>:<reason>:<value seen>".
struct Recorder {
    Calls calls;
    Owner* owner = nullptr;
    std::function<void(const std::string&, CallbackCallReason)> onCall;

    static const char* ReasonName(CallbackCallReason r) {
        switch (r) {
            case CallbackCallReason::Subscribed: return "sub";
            case CallbackCallReason::Unsubscribed: return "unsub";
            default: return "chg";
        }
    }
    void Note(const std::string& who, CallbackCallReason reason) {
        calls.push_back(who + ":" + ReasonName(reason) + ":" + std::to_string(owner->Number.value()));
        if (onCall) onCall(who, reason);
    }
};

template <int Tag>
struct Subscriber {
    Recorder* recorder;
    static void Changing(void* self, void*, CallbackCallReason reason) {
        static_cast<Subscriber*>(self)->recorder->Note("changing" + std::to_string(Tag), reason);
    }
    static void Changed(void* self, void*, CallbackCallReason reason) {
        static_cast<Subscriber*>(self)->recorder->Note("changed" + std::to_string(Tag), reason);
    }
    static PropertyHandlerPair Pair() { return {&Changing, &Changed}; }
};

class ObservablePropertyTest : public testing::Test {
protected:
    CRefPtr<Owner> owner = MakeRef<Owner>();
    Recorder recorder{{}, owner.get(), {}};
};

TEST_F(ObservablePropertyTest, ChangingRunsNewestFirstChangedOldestFirstAndSubscriptionsReplay) {
    owner->Number.set(3);
    Subscriber<1> first{&recorder};
    Subscriber<2> second{&recorder};
    owner->Number.Subscribe(&first, first.Pair());
    owner->Number.Subscribe(&second, second.Pair());
    owner->Number.set(7);
    owner->Number.Unsubscribe(&first, first.Pair());
    owner->Number.set(8);

    EXPECT_EQ(recorder.calls, (Calls{"changed1:sub:3", "changed2:sub:3",                      // replays
                                     "changing2:chg:3", "changing1:chg:3", "changed1:chg:7",  //
                                     "changed2:chg:7", "changing1:unsub:7",                   // replay
                                     "changing2:chg:7", "changed2:chg:8"}));
}

TEST_F(ObservablePropertyTest, ValueSetInsideTheFirstSubscribedCallDoesNotReachTheNewHandler) {
    owner->Number.set(3);
    Subscriber<1> watcher{&recorder};
    owner->Number.Subscribe(&watcher, watcher.Pair());
    Subscriber<2> setter{&recorder};
    recorder.onCall = [&](const std::string& who, CallbackCallReason reason) {
        if (who == "changed2" && reason == CallbackCallReason::Subscribed) owner->Number.set(9);
    };
    recorder.calls.clear();

    owner->Number.Subscribe(&setter, setter.Pair());

    // The new Changing handler is already listed and hears the change; the
    // new Changed handler is not yet, so only the older subscriber does.
    EXPECT_EQ(recorder.calls, (Calls{"changed2:sub:3", "changing2:chg:3", "changing1:chg:3", "changed1:chg:9"}));
    EXPECT_EQ(owner->Number.value(), 9);
    EXPECT_EQ(owner->Number.ChangedHandlerCount(), 2u);
}

TEST_F(ObservablePropertyTest, RemovingAChangingHandlerThatWasNeverAddedStillCallsItOnce) {
    owner->Number.set(5);
    Subscriber<1> stranger{&recorder};
    owner->Number.RemoveChangingHandler({&stranger, nullptr, &Subscriber<1>::Changing});
    EXPECT_EQ(recorder.calls, (Calls{"changing1:unsub:5"}));
    // Removing from the Changed list calls nothing, found or not.
    owner->Number.RemoveChangedHandler({&stranger, nullptr, &Subscriber<1>::Changed});
    EXPECT_EQ(recorder.calls.size(), 1u);
}

TEST_F(ObservablePropertyTest, HandlersAreMatchedBySubscriberAndFunctionAndOneRemovalTakesEveryCopy) {
    Subscriber<1> sub{&recorder};
    auto other = [](void* self, void*, CallbackCallReason reason) {
        static_cast<Subscriber<1>*>(self)->recorder->Note("other", reason);
    };
    owner->Number.Subscribe(&sub, sub.Pair());
    owner->Number.Subscribe(&sub, sub.Pair());
    owner->Number.AddChangedHandler({&sub, nullptr, other});
    recorder.calls.clear();

    owner->Number.set(1);
    EXPECT_EQ(recorder.calls,
              (Calls{"changing1:chg:0", "changing1:chg:0", "changed1:chg:1", "changed1:chg:1", "other:chg:1"}));

    recorder.calls.clear();
    owner->Number.Unsubscribe(&sub, sub.Pair());
    EXPECT_EQ(recorder.calls, (Calls{"changing1:unsub:1"}));
    EXPECT_EQ(owner->Number.ChangingHandlerCount(), 0u);
    EXPECT_EQ(owner->Number.ChangedHandlerCount(), 1u) << "the subscriber's other function stays";

    recorder.calls.clear();
    owner->Number.set(2);
    EXPECT_EQ(recorder.calls, (Calls{"other:chg:2"}));
}

TEST_F(ObservablePropertyTest, SetInsideChangedRunsNestedAndLaterHandlersSeeTheNewestValueAgain) {
    Subscriber<1> first{&recorder};
    Subscriber<2> second{&recorder};
    Subscriber<3> third{&recorder};
    owner->Number.Subscribe(&first, first.Pair());
    owner->Number.Subscribe(&second, second.Pair());
    owner->Number.Subscribe(&third, third.Pair());
    recorder.onCall = [&](const std::string& who, CallbackCallReason) {
        if (who == "changed1" && owner->Number.value() == 1) owner->Number.set(2);
    };
    recorder.calls.clear();

    owner->Number.set(1);

    EXPECT_EQ(recorder.calls, (Calls{
                                  "changing3:chg:0", "changing2:chg:0", "changing1:chg:0",  // outer set
                                  "changed1:chg:1",                                         // sets 2 ...
                                  "changing3:chg:1", "changing2:chg:1", "changing1:chg:1",  // ... nested
                                  "changed1:chg:2", "changed2:chg:2", "changed3:chg:2", "changed2:chg:2",
                                  "changed3:chg:2",  // the outer walk goes on
                              }));
    EXPECT_EQ(owner->Number.value(), 2);
}

TEST_F(ObservablePropertyTest, SetInsideChangingIsOverwrittenByTheOuterValueWithoutAChangingCall) {
    Subscriber<1> older{&recorder};
    Subscriber<2> newer{&recorder};
    owner->Number.Subscribe(&older, older.Pair());
    owner->Number.Subscribe(&newer, newer.Pair());
    bool fired = false;
    recorder.onCall = [&](const std::string& who, CallbackCallReason) {
        if (who == "changing2" && !fired) {
            fired = true;
            owner->Number.set(5);
        }
    };
    recorder.calls.clear();

    owner->Number.set(1);

    EXPECT_EQ(recorder.calls, (Calls{
                                  "changing2:chg:0",                     // sets 5 ...
                                  "changing2:chg:0", "changing1:chg:0",  // ... nested
                                  "changed1:chg:5", "changed2:chg:5",    //
                                  "changing1:chg:5",                     // outer walk goes on
                                  "changed1:chg:1", "changed2:chg:1",    // 5 -> 1 unannounced
                              }));
    EXPECT_EQ(owner->Number.value(), 1);
}

TEST_F(ObservablePropertyTest, HandlerAppendedDuringAWalkIsSkippedByChangingButCalledByChanged) {
    Subscriber<1> first{&recorder};
    Subscriber<2> late{&recorder};
    owner->Number.Subscribe(&first, first.Pair());
    bool added = false;
    recorder.onCall = [&](const std::string& who, CallbackCallReason reason) {
        if (who == "changing1" && !added) {
            added = true;
            owner->Number.AddChangingHandler({&late, nullptr, &Subscriber<2>::Changing});
        }
        if (who == "changed1" && reason == CallbackCallReason::ValueChanged)
            owner->Number.AddChangedHandler({&late, nullptr, &Subscriber<2>::Changed});
    };
    recorder.calls.clear();

    owner->Number.set(1);

    // changed2 is called once with Subscribed as it is added, then once more
    // by the walk that reads the count afresh.
    EXPECT_EQ(recorder.calls, (Calls{"changing1:chg:0", "changed1:chg:1", "changed2:sub:1", "changed2:chg:1"}));
}

// The value types of the model, each with its own rule of what a change is.
class TypedOwner : public CAddReleaseRef {
public:
    observable_property<TypedOwner, std::vector<float>> Samples{this, "TypedOwnerSamples"};
    observable_property<TypedOwner, std::shared_ptr<std::vector<float>>> Buffer{this, "TypedOwnerBuffer"};
    observable_property<TypedOwner, CRefPtr<Owner>> Object{this, "TypedOwnerObject"};
    observable_property<TypedOwner, CWeakRefPtr<Owner>> Back{this, "TypedOwnerBack"};
    observable_property<TypedOwner, GUID> Id{this, "TypedOwnerId"};
};

struct ChangeCounter {
    int count = 0;
    static void Changed(void* self, void*, CallbackCallReason reason) {
        if (reason == CallbackCallReason::ValueChanged) ++static_cast<ChangeCounter*>(self)->count;
    }
    template <class P>
    int CountSets(P& property, std::initializer_list<typename P::value_type> values) {
        property.AddChangedHandler({this, nullptr, &Changed});
        count = 0;
        for (const auto& v : values) property.set(v);
        property.RemoveChangedHandler({this, nullptr, &Changed});
        return count;
    }
};

TEST(ObservablePropertyValueTypes, EachTypeDecidesWhatCountsAsAChange) {
    CRefPtr<Owner> owner = MakeRef<Owner>();
    CRefPtr<TypedOwner> typed = MakeRef<TypedOwner>();
    ChangeCounter counter;
    const float nan = std::numeric_limits<float>::quiet_NaN();

    // NaN never equals itself, so each set is a change; a NaN element makes
    // two vectors different too.
    EXPECT_EQ(counter.CountSets(owner->Level, {nan, nan}), 2);
    EXPECT_EQ(counter.CountSets(typed->Samples, {{1.f, 2.f}, {1.f, 2.f}, {1.f, 2.f, 3.f}, {1.f, 2.f, 4.f}}), 3);
    EXPECT_EQ(counter.CountSets(typed->Samples, {{1.f, nan}, {1.f, nan}}), 2);

    // Shared buffers compare by the stored pointer; the contents are not looked at.
    auto buffer = std::make_shared<std::vector<float>>(std::vector<float>{1.f});
    auto sameContents = std::make_shared<std::vector<float>>(std::vector<float>{1.f});
    EXPECT_EQ(counter.CountSets(typed->Buffer, {buffer, buffer, sameContents}), 2);

    CRefPtr<Owner> a = MakeRef<Owner>();
    CRefPtr<Owner> b = MakeRef<Owner>();
    EXPECT_EQ(counter.CountSets(typed->Object, {a, a, b, nullptr}), 3);
    // Weak references compare by control block: two taken from one object
    // are the same value.
    EXPECT_EQ(counter.CountSets(typed->Back, {CWeakRefPtr<Owner>(a), CWeakRefPtr<Owner>(a), CWeakRefPtr<Owner>(b)}), 2);

    GUID g1{0x1, 0x2, 0x3, {1, 2, 3, 4, 5, 6, 7, 8}};
    GUID g2 = g1;
    g2.Data4[7] = 9;
    EXPECT_EQ(counter.CountSets(typed->Id, {g1, g1, g2}), 2);
}

// What counts as an equal classification is the classification's own test;
// here, what the property does with one.
TEST(ObservablePropertyValueTypes, AnEqualClassificationIsNotStored) {
    CRefPtr<Owner> owner = MakeRef<Owner>();
    const CClassification movie{CategoryMovie, 0.8f, 10, SourceSessionRules, false};
    CClassification sameButRejected = movie;
    sameButRejected.VoiceRejected = true;
    sameButRejected.Source = SourceLocalAnalysis;
    owner->Result.set(movie);
    owner->Result.set(sameButRejected);
    EXPECT_FALSE(owner->Result->VoiceRejected);
    EXPECT_EQ(owner->Result->Source, SourceSessionRules);
}

TEST(ObservablePropertyValueTypes, ReferenceValueKeepsTheObjectAliveUntilReplaced) {
    CRefPtr<TypedOwner> typed = MakeRef<TypedOwner>();
    CRefPtr<Owner> object = MakeRef<Owner>();
    CWeakRefPtr<Owner> watch(object);
    typed->Object.set(object);
    object.reset();
    EXPECT_TRUE(watch.Lock());
    typed->Object.set(nullptr);
    EXPECT_FALSE(watch.Lock());
}

}  // namespace
}  // namespace qv
