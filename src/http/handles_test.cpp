// Every internet handle is closed with what it was opened for, however its exchange ends.
#include <gtest/gtest.h>

#include <optional>

#include "http/session.h"
#include "platform/posix/internet/open_handles.h"
#include "tests/support/loopback/loopback_test_server.h"

namespace {

using Http::Session;
using platform::internet::OpenHandleCount;

constexpr size_t kOfTheSession = 2;  // the session itself and its connection

class HandlesTest : public testing::Test {
protected:
    HandlesTest()
        : m_before(OpenHandleCount()),
          m_server([](const LoopbackTestServer::Request& request) {
              return Answer(request.target == "/bad" ? "500 No" : "200 OK", "body");
          }),
          m_session(Session::Create(u"http://", u"127.0.0.1", m_server.Port(), {}, {})) {}

    Http::Response Get(const char16_t* object) {
        return m_session->SendRequest(u"GET", object, nullptr, nullptr, nullptr, 0, true);
    }
    size_t Opened() const { return OpenHandleCount() - m_before; }

    const size_t m_before;
    LoopbackTestServer m_server;
    std::shared_ptr<Session> m_session;
};

TEST_F(HandlesTest, AnAnswerHoldsItsHandleUntilItsLastCopyGoes) {
    {
        std::optional<Http::Response> answer = Get(u"doc");
        const Http::Response copy = *answer;
        answer.reset();
        EXPECT_EQ(Opened(), kOfTheSession + 1);
    }
    EXPECT_EQ(Opened(), kOfTheSession);
    EXPECT_THROW(Get(u"bad"), Http::HttpException);
    EXPECT_EQ(Opened(), kOfTheSession);
}

TEST_F(HandlesTest, AnUploadHandsItsHandleToTheAnswerOrClosesIt) {
    {
        Http::Request upload = m_session->CreateRequest(u"doc", nullptr, 4, nullptr);
        upload.Write("text", 4);
        const Http::Response answer = upload.End();
        EXPECT_EQ(Opened(), kOfTheSession + 1);
    }
    EXPECT_EQ(Opened(), kOfTheSession);
    {
        Http::Request refused = m_session->CreateRequest(u"bad", nullptr, 4, nullptr);
        refused.Write("text", 4);
        EXPECT_THROW(refused.End(), Http::HttpException);
        const Http::Request given_up = m_session->CreateRequest(u"doc", nullptr, 4, nullptr);
    }
    EXPECT_EQ(Opened(), kOfTheSession);
}

TEST_F(HandlesTest, ASessionClosesItsOwnAfterTheLastAnswer) {
    {
        const Http::Response answer = Get(u"doc");
        m_session.reset();
        EXPECT_EQ(Opened(), 1u);
        std::string body;
        answer.ReadBody(body);
        EXPECT_EQ(body, "body");
    }
    EXPECT_EQ(Opened(), 0u);
}

}  // namespace
