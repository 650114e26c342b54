#include "foundation/Session.h"

#include "TestEnvironment.h"

#include <QSignalSpy>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>

namespace {

// The smallest session: two content fields and one that isn't, and a task that counts.
class CountingSession : public Session {
public:
    using Session::Session;

    QString title() const override { return QStringLiteral("Counter"); }
    QList<Field> fields() override
    {
        const auto keep = [this](const QString &value) -> std::optional<QString> {
            if (value == QLatin1String("bad"))
                return QStringLiteral("not bad");
            last = value;
            return std::nullopt;
        };
        return {{QStringLiteral("body"), QStringLiteral("TEXT"), keep, true},
                {QStringLiteral("items"), QStringLiteral("A,…"), keep, true},
                {QStringLiteral("mode"), QStringLiteral("one or two"), keep}};
    }
    std::optional<QString> perform() override { return std::nullopt; }

    // Counts until `limit` or until stopped; what it reached comes back on the main thread.
    void count(int limit, std::atomic<bool> *started = nullptr)
    {
        runTask<int>(
            [limit, started](std::stop_token stop) {
                if (started)
                    *started = true;
                int reached = 0;
                while (reached < limit && !stop.stop_requested()) {
                    ++reached;
                    QThread::usleep(100);
                }
                return reached;
            },
            [this](const int &reached) {
                result = reached;
                finishedOnMain = QThread::currentThread() == thread();
            });
    }

    QString last;
    std::optional<int> result;
    bool finishedOnMain = false;
};

struct MissingCase {
    const char *name;
    QStringList set;
    std::optional<QString> expected;
};

void PrintTo(const MissingCase &c, std::ostream *os)
{
    *os << c.name;
}

class MissingFields : public testing::TestWithParam<MissingCase> {};

} // namespace

TEST_P(MissingFields, NeedOneContentFieldSet)
{
    TestEnvironment env;
    CountingSession session(env.host(), {});
    EXPECT_EQ(session.missingFields(GetParam().set), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Sets, MissingFields,
    testing::Values(
        MissingCase{"Nothing",
                    {},
                    QStringLiteral(
                        "Counter changes files, so it needs --set body=TEXT or --set items=A,…; nothing was changed.")},
        MissingCase{"OnlyAnOption",
                    {QStringLiteral("mode")},
                    QStringLiteral(
                        "Counter changes files, so it needs --set body=TEXT or --set items=A,…; nothing was changed.")},
        MissingCase{"OneContentField", {QStringLiteral("items")}, std::nullopt}),
    [](const testing::TestParamInfo<MissingCase> &info) { return std::string(info.param.name); });

TEST(Session, ATaskComesBackOnTheMainThreadOnce)
{
    TestEnvironment env;
    CountingSession session(env.host(), {QStringLiteral("/a")});
    session.count(5);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_EQ(session.result, 5);
    EXPECT_TRUE(session.finishedOnMain);
    EXPECT_FALSE(session.isRunning());
    EXPECT_EQ(session.targets(), QStringList{"/a"});
}

TEST(Session, CancelStopsTheTaskAndOnlyThenCloses)
{
    TestEnvironment env;
    CountingSession session(env.host(), {});
    QSignalSpy closed(&session, &Session::closed);
    std::atomic<bool> started = false;
    session.count(1'000'000'000, &started);
    while (!started)
        QThread::usleep(100);
    session.cancel();
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(session.result.has_value());
    EXPECT_LT(*session.result, 1'000'000'000);
    EXPECT_EQ(closed.count(), 0);

    // Nothing runs now: cancelling dismisses, and a second close says nothing more.
    session.cancel();
    session.close();
    EXPECT_EQ(closed.count(), 1);
    EXPECT_TRUE(session.isClosed());
}

TEST(Session, ASessionGoneBeforeItsTaskEndsHearsNothing)
{
    TestEnvironment env;
    std::atomic<bool> started = false;
    auto session = std::make_unique<CountingSession>(env.host(), QStringList{});
    session->count(1'000'000'000, &started);
    while (!started)
        QThread::usleep(100);
    // Destroying stops and joins the task; its queued result has nowhere to go.
    session.reset();
    EXPECT_TRUE(TestEnvironment::runUntilIdle());
}
