// Strong and weak references on one thread. The race of a weak lock with the
// final release lives in tests/concurrency.
#include <memory>

#include <gtest/gtest.h>

#include "core/ref.h"

namespace qv {
namespace {

// Tells the test when it dies, without the test touching the dead object.
class Tracked : public CAddReleaseRef {
public:
    explicit Tracked(bool* destroyed) : m_destroyed(destroyed) {}
    CRefPtr<Tracked> next;

protected:
    ~Tracked() override { *m_destroyed = true; }

private:
    bool* m_destroyed;
};

class Unrelated : public CAddReleaseRef {};

struct IExtra : virtual IAddReleaseRef {
    virtual int Answer() = 0;
};

class WithExtra : public CAddReleaseRef, public IExtra {
public:
    int Answer() override { return 42; }
};

TEST(References, AttachAdoptsTheCreatorsReferenceAndReleasesTheOldObjectAfterTheStore) {
    bool firstDestroyed = false;
    bool secondDestroyed = false;
    CRefPtr<Tracked> p;
    p.Attach(new Tracked(&firstDestroyed));
    EXPECT_EQ(p->AddRef(), 2u);
    EXPECT_EQ(p->Release(), 1u);
    p.Attach(new Tracked(&secondDestroyed));
    EXPECT_TRUE(firstDestroyed);
    EXPECT_FALSE(secondDestroyed);
    p.Attach(nullptr);
    EXPECT_TRUE(secondDestroyed);
}

TEST(References, AssignmentTakesTheNewReferenceBeforeLettingGoOfTheOld) {
    bool firstDestroyed = false;
    bool secondDestroyed = false;
    CRefPtr<Tracked> node = MakeRef<Tracked>(&firstDestroyed);
    CRefPtr<Tracked>& alias = node;
    node = alias;
    ASSERT_FALSE(firstDestroyed);
    EXPECT_EQ(node->AddRef(), 2u) << "self-assignment changed the count";
    node->Release();

    // node = node->next, where node holds the only reference to next: the
    // source of the copy goes with the old object.
    node->next = MakeRef<Tracked>(&secondDestroyed);
    node = node->next;
    EXPECT_TRUE(firstDestroyed);
    ASSERT_FALSE(secondDestroyed);
    node.reset();
    EXPECT_TRUE(secondDestroyed);
}

TEST(WeakReferences, WeakReferencesOfOneObjectShareOneBlockAndEmptyOnesLockToNull) {
    bool destroyed = false;
    CRefPtr<Tracked> object = MakeRef<Tracked>(&destroyed);
    CWeakRefPtr<Tracked> a(object);
    CWeakRefPtr<Tracked> b(object.get());
    EXPECT_TRUE(a == b);
    EXPECT_EQ(a.block(), b.block());
    CRefPtr<Tracked> other = MakeRef<Tracked>(&destroyed);
    EXPECT_FALSE(a == CWeakRefPtr<Tracked>(other));
    EXPECT_FALSE(a == CWeakRefPtr<Tracked>());

    CWeakRefPtr<Tracked> empty;
    EXPECT_FALSE(empty.Lock());
    EXPECT_TRUE(empty.empty());
    EXPECT_TRUE(CWeakRefPtr<Tracked>(static_cast<Tracked*>(nullptr)).empty());
}

TEST(WeakReferences, LockKeepsTheObjectAliveAndTheBlockOutlivesItAnsweringNull) {
    bool destroyed = false;
    CRefPtr<Tracked> object = MakeRef<Tracked>(&destroyed);
    CWeakRefPtr<Tracked> weak(object);
    {
        CRefPtr<Tracked> locked = weak.Lock();
        ASSERT_EQ(locked.get(), object.get());
        object.reset();
        EXPECT_FALSE(destroyed) << "the locked reference must keep the object alive";
    }
    ASSERT_TRUE(destroyed);

    EXPECT_TRUE(weak) << "the weak reference still holds its block";
    EXPECT_FALSE(weak.Lock());
    CWeakRefPtr<Tracked> copy = weak;
    EXPECT_TRUE(copy == weak);
    weak = nullptr;
    EXPECT_FALSE(copy.Lock());
}

TEST(WeakReferences, LockReachesAnotherInterfaceOfTheObjectAndAWrongTypeGivesNullWithoutALeak) {
    CRefPtr<WithExtra> withExtra = MakeRef<WithExtra>();
    CWeakRefPtr<IExtra> extra(CWeakRefPtr<CAddReleaseRef>{CRefPtr<CAddReleaseRef>(withExtra)});
    CRefPtr<IExtra> locked = extra.Lock();
    ASSERT_TRUE(locked);
    EXPECT_EQ(locked->Answer(), 42);
    EXPECT_EQ(withExtra->AddRef(), 3u);
    withExtra->Release();

    bool destroyed = false;
    CRefPtr<Tracked> object = MakeRef<Tracked>(&destroyed);
    CWeakRefPtr<CAddReleaseRef> general{CRefPtr<CAddReleaseRef>(object)};
    CWeakRefPtr<Unrelated> wrong(general);
    EXPECT_FALSE(wrong.Lock());
    EXPECT_FALSE(wrong.Lock());
    EXPECT_TRUE(general.Lock());
    // Had a failed lock kept its reference, the object would outlive this.
    object.reset();
    EXPECT_TRUE(destroyed);
}

}  // namespace
}  // namespace qv
