// CCommonBase and the handler wiring: a class that builds itself as a ladder
// of subscriptions, the virtual hooks after each handler, and the trace held
// for the length of a handler call.
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "classify/content_classifier_log.h"
#include "core/common_base.h"
#include "core/format.h"
#include "platform/sim/sim_debug_output.h"

namespace qv {
namespace {

std::string ReasonName(CallbackCallReason reason) {
    switch (reason) {
        case CallbackCallReason::Subscribed: return "sub";
        case CallbackCallReason::Unsubscribed: return "unsub";
        default: return "chg";
    }
}

class CLeaf : public CCommonBase {
public:
    explicit CLeaf(const CRefPtr<ITraceFuncCallTarget>& trace, int level = 0) : CCommonBase(trace, nullptr, nullptr) {
        Level.set(level);
    }
    observable_property<CLeaf, int> Level{this, "CommonBaseTest.Level"};
};

// Watches its own Leaf; whenever a leaf is there, watches the leaf's Level.
class CLadder : public CCommonBase {
public:
    CLadder(const CRefPtr<ITraceFuncCallTarget>& trace, std::vector<std::string>* events)
        : CCommonBase(trace, nullptr, nullptr), m_events(events) {
        QV_TRACE_SCOPE(L"CLadder::CLadder");
        Leaf.Subscribe(this, Leaf_Handlers());
    }

    observable_property<CLadder, CRefPtr<CLeaf>> Leaf{this, "CommonBaseTest.Leaf"};
    std::function<void()> onLevelChanged;

protected:
    ~CLadder() override {
        QV_TRACE_SCOPE(L"CLadder::~CLadder");
        Leaf.Unsubscribe(this, Leaf_Handlers());
    }
    std::vector<std::string>* m_events;

private:
    QV_PROPERTY_HANDLERS(CLadder, Leaf)
    QV_PROPERTY_HANDLERS(CLadder, Level)
};

void CLadder::CLadder_LeafChanging(void*, CallbackCallReason reason) {
    QV_TRACE_SCOPE(L"CLadder::Leaf_Changing", PointerArgument(Leaf.value().get()));
    m_events->push_back("Leaf_Changing:" + ReasonName(reason));
    if (Leaf.value()) Leaf.value()->Level.Unsubscribe(this, Level_Handlers());
}

void CLadder::CLadder_LeafChanged(void*, CallbackCallReason reason) {
    QV_TRACE_SCOPE(L"CLadder::Leaf_Changed", PointerArgument(Leaf.value().get()));
    m_events->push_back("Leaf_Changed:" + ReasonName(reason));
    if (Leaf.value()) Leaf.value()->Level.Subscribe(this, Level_Handlers());
}

void CLadder::CLadder_LevelChanging(void* sender, CallbackCallReason reason) {
    QV_TRACE_SCOPE(L"CLadder::Level_Changing");
    m_events->push_back("Level_Changing:" + ReasonName(reason) + ":" +
                        std::to_string(static_cast<CLeaf*>(sender)->Level.value()));
}

void CLadder::CLadder_LevelChanged(void* sender, CallbackCallReason reason) {
    QV_TRACE_SCOPE(L"CLadder::Level_Changed");
    m_events->push_back("Level_Changed:" + ReasonName(reason) + ":" +
                        std::to_string(static_cast<CLeaf*>(sender)->Level.value()));
    if (onLevelChanged) onLevelChanged();
}

// A subclass that uses the extension point: the hooks run after the class's
// own handler.
class CHookedLadder : public CLadder {
public:
    using CLadder::CLadder;
    void Level_Changed(void* sender, CallbackCallReason reason) override {
        m_events->push_back("hook Level_Changed:" + ReasonName(reason));
    }
    void Leaf_Changing(void* sender, CallbackCallReason reason) override {
        m_events->push_back("hook Leaf_Changing:" + ReasonName(reason));
    }
};

// The strong count of the trace target, read without changing it.
uint32_t RefCount(ITraceFuncCallTarget* target) {
    target->AddRef();
    return target->Release();
}

class CommonBaseTest : public testing::Test {
protected:
    void SetUp() override {
        DBG_TRACE* record = trace->GetTrace();
        record->debugOutput = output;
        DBG_TRACE_SetName(record);
        record->Enabled.store(true);
    }

    // The lines without their prefix "MIRADO{n}[tid]: ", indentation kept.
    std::vector<std::wstring> Bodies() const {
        std::vector<std::wstring> bodies;
        for (const std::wstring& line : output->Lines()) {
            auto at = line.find(L"]: ");
            bodies.push_back(at == std::wstring::npos ? line : line.substr(at + 3));
        }
        return bodies;
    }

    CRefPtr<CSimDebugOutput> output = MakeRef<CSimDebugOutput>();
    CRefPtr<ITraceFuncCallTarget> trace = MakeRef<CTraceFuncCallTarget>();
    std::vector<std::string> events;
};

TEST_F(CommonBaseTest, LadderBuildsAndTearsDownInOrderIncludingFromTheDestructor) {
    CRefPtr<CLeaf> first = MakeRef<CLeaf>(trace, 5);
    CRefPtr<CLeaf> second = MakeRef<CLeaf>(trace, 9);
    CRefPtr<CLadder> ladder = MakeRef<CLadder>(trace, &events);
    EXPECT_EQ(events, (std::vector<std::string>{"Leaf_Changed:sub"}));

    events.clear();
    ladder->Leaf.set(first);
    first->Level.set(6);
    ladder->Leaf.set(second);
    EXPECT_EQ(events, (std::vector<std::string>{"Leaf_Changing:chg", "Leaf_Changed:chg", "Level_Changed:sub:5",
                                                "Level_Changing:chg:5", "Level_Changed:chg:6", "Leaf_Changing:chg",
                                                "Level_Changing:unsub:6", "Leaf_Changed:chg", "Level_Changed:sub:9"}));
    EXPECT_EQ(first->Level.ChangedHandlerCount() + first->Level.ChangingHandlerCount(), 0u);

    events.clear();
    first->Level.set(1);
    EXPECT_TRUE(events.empty()) << "the old leaf is no longer watched";

    output->Clear();
    ladder.reset();
    EXPECT_EQ(events, (std::vector<std::string>{"Leaf_Changing:unsub", "Level_Changing:unsub:9"}));
    EXPECT_EQ(second->Level.ChangedHandlerCount() + second->Level.ChangingHandlerCount(), 0u);

    // The tear-down runs nested inside the destructor's scope, and the base's
    // scope comes last.
    const std::wstring leafArgument = PointerArgument(second.get());
    EXPECT_EQ(Bodies(), (std::vector<std::wstring>{
                            L"{ CLadder::~CLadder()\n",
                            L"  { CLadder::Leaf_Changing(" + leafArgument + L")\n",
                            L"    { CLadder::Level_Changing()\n",
                            L"    } CLadder::Level_Changing()\n",
                            L"  } CLadder::Leaf_Changing(" + leafArgument + L")\n",
                            L"} CLadder::~CLadder()\n",
                            L"{ CCommonBase::~CCommonBase()\n",
                            L"} CCommonBase::~CCommonBase()\n",
                        }));
}

TEST_F(CommonBaseTest, ConstructorTracesItsThreadIdWhichIsNeverAssigned) {
    CRefPtr<CLeaf> leaf = MakeRef<CLeaf>(trace);
    EXPECT_EQ(leaf->ThreadId, 0u);
    EXPECT_EQ(Bodies(), (std::vector<std::wstring>{L"{ CCommonBase::CCommonBase()\n", L"  ThreadId = 0.\n",
                                                   L"} CCommonBase::CCommonBase()\n"}));
}

TEST_F(CommonBaseTest, VirtualHookRunsAfterTheClassHandlerAndWithoutATraceTargetNothingIsTraced) {
    CRefPtr<CLeaf> leaf = MakeRef<CLeaf>(nullptr, 1);
    CRefPtr<CLadder> ladder = MakeRef<CHookedLadder>(nullptr, &events);
    events.clear();

    ladder->Leaf.set(leaf);
    leaf->Level.set(2);
    ladder.reset();

    EXPECT_EQ(events, (std::vector<std::string>{"Leaf_Changing:chg", "hook Leaf_Changing:chg", "Leaf_Changed:chg",
                                                "Level_Changed:sub:1", "hook Level_Changed:sub", "Level_Changing:chg:1",
                                                "Level_Changed:chg:2", "hook Level_Changed:chg",
                                                // The destructor runs after the subclass has gone.
                                                "Leaf_Changing:unsub", "Level_Changing:unsub:2"}));
    EXPECT_TRUE(output->Lines().empty());
}

TEST_F(CommonBaseTest, HandlerDispatchHoldsTheTraceTargetForTheCall) {
    CRefPtr<CLeaf> leaf = MakeRef<CLeaf>(nullptr, 1);
    CRefPtr<CLadder> ladder = MakeRef<CLadder>(trace, &events);
    ladder->Leaf.set(leaf);

    const uint32_t outside = RefCount(trace.get());
    uint32_t during = 0;
    ladder->onLevelChanged = [&] { during = RefCount(trace.get()); };
    leaf->Level.set(2);
    EXPECT_EQ(during, outside + 1);
    EXPECT_EQ(RefCount(trace.get()), outside);

    ladder.reset();
    EXPECT_EQ(RefCount(trace.get()), 1u) << "the object let go of its trace target";
}

}  // namespace
}  // namespace qv
