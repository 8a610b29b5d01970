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

TEST(References, NewObjectCarriesItsCreatorsReference) {
    bool destroyed = false;
    CRefPtr<Tracked> p;
    p.Attach(new Tracked(&destroyed));
    EXPECT_EQ(p->AddRef(), 2u);
    EXPECT_EQ(p->Release(), 1u);
    p.reset();
    EXPECT_TRUE(destroyed);
}

TEST(References, SelfAssignmentKeepsTheObjectAlive) {
    bool destroyed = false;
    CRefPtr<Tracked> p = MakeRef<Tracked>(&destroyed);
    CRefPtr<Tracked>& alias = p;
    p = alias;
    ASSERT_FALSE(destroyed);
    EXPECT_EQ(p->AddRef(), 2u) << "self-assignment changed the count";
    p->Release();
}

TEST(References, AssigningFromInsideTheOldObjectKeepsTheNewOneAlive) {
    // node = node->next, where node holds the only reference to next: the
    // new reference must be taken before the old object (and with it the
    // source of the copy) goes.
    bool firstDestroyed = false;
    bool secondDestroyed = false;
    CRefPtr<Tracked> node = MakeRef<Tracked>(&firstDestroyed);
    node->next = MakeRef<Tracked>(&secondDestroyed);

    node = node->next;

    EXPECT_TRUE(firstDestroyed);
    ASSERT_FALSE(secondDestroyed);
    node.reset();
    EXPECT_TRUE(secondDestroyed);
}

TEST(References, AttachReleasesTheOldPointerAfterTheStore) {
    bool firstDestroyed = false;
    bool secondDestroyed = false;
    CRefPtr<Tracked> p = MakeRef<Tracked>(&firstDestroyed);
    p.Attach(new Tracked(&secondDestroyed));
    EXPECT_TRUE(firstDestroyed);
    EXPECT_FALSE(secondDestroyed);
    p.Attach(nullptr);
    EXPECT_TRUE(secondDestroyed);
}

TEST(WeakReferences, TwoWeakReferencesOfOneObjectCompareEqual) {
    bool destroyed = false;
    CRefPtr<Tracked> object = MakeRef<Tracked>(&destroyed);
    CWeakRefPtr<Tracked> a(object);
    CWeakRefPtr<Tracked> b(object.get());
    EXPECT_TRUE(a == b);
    EXPECT_EQ(a.block(), b.block());

    bool otherDestroyed = false;
    CRefPtr<Tracked> other = MakeRef<Tracked>(&otherDestroyed);
    EXPECT_FALSE(a == CWeakRefPtr<Tracked>(other));
    EXPECT_FALSE(a == CWeakRefPtr<Tracked>());
}

TEST(WeakReferences, LockGivesAStrongReferenceWhileTheObjectLives) {
    bool destroyed = false;
    CRefPtr<Tracked> object = MakeRef<Tracked>(&destroyed);
    CWeakRefPtr<Tracked> weak(object);
    {
        CRefPtr<Tracked> locked = weak.Lock();
        ASSERT_EQ(locked.get(), object.get());
        object.reset();
        EXPECT_FALSE(destroyed) << "the locked reference must keep the object alive";
    }
    EXPECT_TRUE(destroyed);
}

TEST(WeakReferences, ControlBlockOutlivesTheObjectAndAnswersNull) {
    bool destroyed = false;
    CRefPtr<Tracked> object = MakeRef<Tracked>(&destroyed);
    CWeakRefPtr<Tracked> weak(object);
    object.reset();
    ASSERT_TRUE(destroyed);

    EXPECT_TRUE(weak) << "the weak reference still holds its block";
    EXPECT_FALSE(weak.Lock());
    // Copies of a dead object's weak reference share the same block.
    CWeakRefPtr<Tracked> copy = weak;
    EXPECT_TRUE(copy == weak);
    EXPECT_FALSE(copy.Lock());
    weak = nullptr;
    EXPECT_FALSE(copy.Lock());
}

TEST(WeakReferences, EmptyWeakReferenceLocksToNull) {
    CWeakRefPtr<Tracked> empty;
    EXPECT_FALSE(empty.Lock());
    EXPECT_TRUE(empty.empty());
    CWeakRefPtr<Tracked> fromNull(static_cast<Tracked*>(nullptr));
    EXPECT_TRUE(fromNull.empty());
}

TEST(WeakReferences, LockForAWrongTypeGivesNullAndLeaksNothing) {
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

TEST(WeakReferences, LockReachesAnotherInterfaceOfTheSameObject) {
    CRefPtr<WithExtra> object = MakeRef<WithExtra>();
    CWeakRefPtr<CAddReleaseRef> general{CRefPtr<CAddReleaseRef>(object)};
    CWeakRefPtr<IExtra> extra(general);
    CRefPtr<IExtra> locked = extra.Lock();
    ASSERT_TRUE(locked);
    EXPECT_EQ(locked->Answer(), 42);
    EXPECT_EQ(object->AddRef(), 3u);
    object->Release();
}

}  // namespace
}  // namespace qv
