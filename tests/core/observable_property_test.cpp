// Ordering, replay and re-entrancy of observable properties.
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "classify/classification.h"
#include "core/common_base.h"

namespace qv {
namespace {

// An owner with properties of the kinds the model uses.
class Owner : public CAddReleaseRef {
public:
    observable_property<Owner, int> Number{this, "Number"};
    observable_property<Owner, float> Level{this, "Level"};
    observable_property<Owner, CClassification> Result{this, "Result"};
};

// Records every call as "<who>:<reason>:<value seen>".
struct Recorder {
    std::vector<std::string> calls;
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
    void SetUp() override {
        owner.Attach(new Owner());
        recorder.owner = owner.get();
    }
    CRefPtr<Owner> owner;
    Recorder recorder;
};

TEST_F(ObservablePropertyTest, ChangingRunsNewestFirstAndChangedOldestFirst) {
    Subscriber<1> first{&recorder};
    Subscriber<2> second{&recorder};
    owner->Number.Subscribe(&first, first.Pair());
    owner->Number.Subscribe(&second, second.Pair());
    recorder.calls.clear();

    owner->Number.set(7);

    EXPECT_EQ(recorder.calls, (std::vector<std::string>{"changing2:chg:0", "changing1:chg:0", "changed1:chg:7",
                                                         "changed2:chg:7"}));
}

TEST_F(ObservablePropertyTest, SubscribeAndUnsubscribeReplayTheHandlers) {
    owner->Number.set(3);
    Subscriber<1> sub{&recorder};
    owner->Number.Subscribe(&sub, sub.Pair());
    owner->Number.Unsubscribe(&sub, sub.Pair());
    EXPECT_EQ(recorder.calls, (std::vector<std::string>{"changed1:sub:3", "changing1:unsub:3"}));

    recorder.calls.clear();
    owner->Number.set(4);
    EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(ObservablePropertyTest, EqualValueRunsNothingAndNaNAlwaysChanges) {
    Subscriber<1> sub{&recorder};
    owner->Number.Subscribe(&sub, sub.Pair());
    owner->Level.Subscribe(&sub, sub.Pair());
    recorder.calls.clear();

    owner->Number.set(0);
    EXPECT_TRUE(recorder.calls.empty());

    owner->Level.set(std::numeric_limits<float>::quiet_NaN());
    owner->Level.set(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(recorder.calls.size(), 4u);
}

TEST_F(ObservablePropertyTest, ClassificationDifferingOnlyInSourceOrVoiceRejectedIsNotStored) {
    CClassification movie{CategoryMovie, 0.8f, 10, SourceSessionRules, false};
    owner->Result.set(movie);
    CClassification sameButRejected = movie;
    sameButRejected.VoiceRejected = true;
    sameButRejected.Source = SourceLocalAnalysis;
    owner->Result.set(sameButRejected);
    EXPECT_FALSE(owner->Result->VoiceRejected);
    EXPECT_EQ(owner->Result->Source, SourceSessionRules);
}

}  // namespace
}  // namespace qv
