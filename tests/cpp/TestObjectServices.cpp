// Object services: exceptions, IOstrelObject, subject and observer, Singleton.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "CoreFailures.h"
#include "core/IOstrelObject.h"
#include "core/pattern/Assert.h"
#include "core/pattern/Singleton.h"
#include "core/pattern/Subject.h"

using namespace ostrel::core;

namespace {

struct Subject : ISubject {};

struct ThrowingObserver : IObserver {
    void update() override { throw std::runtime_error("update failed"); }
};

class Named : public IOstrelObject {};

}  // namespace

TEST(Exceptions, PreconditionCarriesItsParts) {
    try {
        OSTREL_PRECONDITION(1 == 2, "1 == 2", "core/x/File.inl", "value " << 7 << " bad");
        FAIL() << "no exception";
    } catch (const tamblin::IPreconditionException& p_failure) {
        EXPECT_EQ(p_failure.expression(), "1 == 2");
        EXPECT_EQ(p_failure.message(), "value 7 bad");
        EXPECT_EQ(p_failure.file(), "core/x/File.inl");
        EXPECT_GT(p_failure.line(), 0u);
        const std::string what = p_failure.what();
        EXPECT_EQ(what.find("value 7 bad"), 0u);
        EXPECT_NE(what.find("1 == 2"), std::string::npos);
        EXPECT_NE(what.find("core/x/File.inl"), std::string::npos);
        EXPECT_NE(what.find(std::to_string(p_failure.line())), std::string::npos);
    }
}

TEST(Exceptions, FamilyDerivesFromStdException) {
    const tamblin::IPosconditionException post("a", "b", "c", 3);
    const tamblin::IHeaderException& header = post;
    const std::exception& standard = header;
    EXPECT_EQ(std::string(standard.what()).find("b"), 0u);
    const IAvailabilityException availability("f() is not available for X", "core/y", 9);
    EXPECT_EQ(availability.message(), "f() is not available for X");
    EXPECT_EQ(availability.line(), 9u);
    const tamblin::IHeaderException& as_header = availability;
    EXPECT_EQ(as_header.file(), "core/y");
}

TEST(Exceptions, AvailabilityNamesFunctionAndType) {
    Named object;
    try {
        OSTREL_NOT_AVAILABLE(object, " is not available for ", "core/z", "");
        FAIL() << "no exception";
    } catch (const IAvailabilityException& p_failure) {
        const std::string message = p_failure.message();
        EXPECT_NE(message.find("TestBody"), std::string::npos) << message;
        EXPECT_NE(message.find(" is not available for "), std::string::npos);
        EXPECT_NE(message.find("Named"), std::string::npos) << message;
    }
}

TEST(OstrelObject, DescribesAnonymousObjectWithoutInformation) {
    Named object;
    const std::string text = object.to_string();
    std::ostringstream address;
    address << static_cast<const void*>(&object);
    const std::string expected =
        "OstrelObject\n  Name: (anonymous)\n  C++ Type: " + object.type_name() +
        "\n  Mem. Location: " + address.str() + "\n  Information: <null>\n";
    EXPECT_EQ(text, expected);
    EXPECT_NE(object.type_name().find("Named"), std::string::npos);
}

TEST(OstrelObject, DescribesNameInformationPrefixAndClass) {
    auto info = std::make_shared<Named>();
    info->set_name("inner");
    Named object;
    object.set_name("outer");
    object.set_info(info);
    std::ostringstream stream;
    object.describe(stream, ">> ", "Thing");
    const std::string text = stream.str();
    EXPECT_EQ(text.find(">> Thing\n>>   Name: \"outer\"\n>>   C++ Type: "), 0u) << text;
    EXPECT_NE(text.find(">>   Information: OstrelObject\n  Name: \"inner\""), std::string::npos)
        << text;
    EXPECT_EQ(object.get(), info);
    EXPECT_EQ(object.info(), info);
    EXPECT_EQ(object.name(), "outer");
}

TEST(OstrelObject, GetWithoutInformationFails) {
    Named object;
    EXPECT_EQ(object.info(), nullptr);
    EXPECT_TRUE(FailsPrecondition([&] { object.get(); }, "m_info",
                                  "This OstrelObject do not have an Information setted.",
                                  "core/IOstrelObject.inl"));
}

TEST(Observations, NotifyReachesEachObserverOnce) {
    Subject subject;
    CountingObserver first, second;
    attach(&subject, &first);
    attach(&subject, &first);
    attach(&subject, &second);
    notify(&subject);
    EXPECT_EQ(first.updates, 1);
    EXPECT_EQ(second.updates, 1);
    EXPECT_EQ(observations().observers_of(&subject).size(), 2u);
}

TEST(Observations, NotifyWithoutObserversDoesNothing) {
    Subject subject;
    EXPECT_NO_THROW(notify(&subject));
    EXPECT_TRUE(observations().observers_of(&subject).empty());
    EXPECT_FALSE(observations().has_subject(&subject));
}

TEST(Observations, DetachTwiceFailsWithFirstExpressionWhenNothingIsLeft) {
    Subject subject;
    CountingObserver observer;
    attach(&subject, &observer);
    detach(&subject, &observer);
    EXPECT_TRUE(FailsPrecondition([&] { detach(&subject, &observer); }, "map_it != m_map.end()",
                                  "Trying to remove an invalid observation",
                                  "core/pattern/Subject"));
}

TEST(Observations, DetachTwiceFailsWithSecondExpressionWhileOthersRemain) {
    Subject subject;
    CountingObserver observer, other;
    attach(&subject, &observer);
    attach(&subject, &other);
    detach(&subject, &observer);
    EXPECT_TRUE(
        FailsPrecondition([&] { detach(&subject, &observer); }, "obs_it != map_it->second.end()",
                          "Trying to remove an invalid observation", "core/pattern/Subject"));
}

TEST(Observations, ObserverDyingFirstLeavesNoEntry) {
    Subject subject;
    CountingObserver survivor;
    attach(&subject, &survivor);
    {
        auto doomed = std::make_unique<CountingObserver>();
        attach(&subject, doomed.get());
        EXPECT_EQ(observations().observers_of(&subject).size(), 2u);
        IObserver* address = doomed.get();
        doomed.reset();
        EXPECT_FALSE(observations().has_observer(address));
    }
    EXPECT_EQ(observations().observers_of(&subject).size(), 1u);
    notify(&subject);  // would reach freed memory if the dead observer were still listed
    EXPECT_EQ(survivor.updates, 1);
}

TEST(Observations, SubjectDyingFirstLeavesNoEntry) {
    CountingObserver observer;
    ISubject* address = nullptr;
    {
        Subject subject;
        address = &subject;
        attach(&subject, &observer);
    }
    EXPECT_FALSE(observations().has_subject(address));
    EXPECT_TRUE(observations().subjects_of(&observer).empty());
}

TEST(Observations, ExceptionInUpdateEndsTheWalk) {
    // Members lie in address order, and observers are told in address order.
    struct {
        CountingObserver before;
        ThrowingObserver thrower;
        CountingObserver after;
    } observers;
    Subject subject;
    attach(&subject, &observers.after);
    attach(&subject, &observers.thrower);
    attach(&subject, &observers.before);
    EXPECT_THROW(notify(&subject), std::runtime_error);
    EXPECT_EQ(observers.before.updates, 1);
    EXPECT_EQ(observers.after.updates, 0);
}

namespace {
struct Probe {
    static int alive;
    Probe() { ++alive; }
    ~Probe() { --alive; }
};
int Probe::alive = 0;
}  // namespace

TEST(Singleton, LastReleaseDestroysAndErasesKey) {
    auto& registry = ostrel::singleton::singleton_registry_instance();
    const std::string key = Singleton<Probe>::registry_key();
    ASSERT_EQ(registry.count(key), 0u);
    Probe& probe = Singleton<Probe>::instance();
    EXPECT_EQ(&probe, &Singleton<Probe>::instance());
    EXPECT_EQ(Probe::alive, 1);
    ASSERT_EQ(registry.count(key), 1u);
    EXPECT_EQ(*Singleton<Probe>::singleton_data().singleton_count_ptr, 1);
    Singleton<Probe>::release();
    EXPECT_EQ(Probe::alive, 0);
    EXPECT_EQ(registry.count(key), 0u);
    EXPECT_EQ(Singleton<Probe>::singleton_data().instance_ptr, nullptr);
}

namespace {
struct Broken {};
}  // namespace

TEST(Singleton, ReleaseChecksItsCount) {
    Broken object;
    auto& data = Singleton<Broken>::singleton_data();
    data.instance_ptr = &object;
    data.singleton_count_ptr = nullptr;
    EXPECT_TRUE(FailsWith<tamblin::IPosconditionException>(
        [] { Singleton<Broken>::release(); }, "singleton_data().singleton_count_ptr",
        "Singleton Count Ptr should be a valid pointer here.", "core/pattern/Singleton"));
    int zero = 0;
    data.singleton_count_ptr = &zero;
    EXPECT_TRUE(FailsWith<tamblin::IPosconditionException>(
        [] { Singleton<Broken>::release(); }, "*singleton_data().singleton_count_ptr > 0",
        "Singleton Count should be greater than zero here.", "core/pattern/Singleton"));
    data = SingletonRecord{};
}
