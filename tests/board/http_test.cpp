// Who may read the board, and what they get.
#include "board_test.h"

#include "board/web_server.h"

namespace board_test {

namespace {

using testing::AnyOf;
using testing::HasSubstr;

class Http : public BoardTest {};

TEST_F(Http, ThePageAllowsItsOwnScriptAndStyleAlone) {
    const Reply first = get("/");
    const Reply second = get("/");
    ASSERT_EQ(first.status, 200);
    EXPECT_EQ(first.headers.at("content-type"), "text/html; charset=utf-8");
    const std::string policy = first.headers.at("content-security-policy");
    EXPECT_THAT(policy, HasSubstr("default-src 'none'"));
    EXPECT_THAT(policy, HasSubstr("frame-ancestors 'none'"));
    const size_t begin = policy.find("'nonce-") + 7;
    const std::string nonce = policy.substr(begin, policy.find('\'', begin) - begin);
    EXPECT_GE(nonce.size(), 32);
    EXPECT_THAT(first.body, HasSubstr("<script nonce=\"" + nonce + "\">"));
    EXPECT_THAT(first.body, HasSubstr("<style nonce=\"" + nonce + "\">"));
    EXPECT_EQ(second.body.find(nonce), std::string::npos) << "a nonce is used once";
}

// No address of another place: it works where there is no network.
TEST_F(Http, ThePageNeedsNothingElse) {
    const std::string page = get("/").body;
    for (const char *outside : {"http:", "https:", "src=", "@import", "url("}) {
        const size_t at = page.find(outside);
        // The name of a vocabulary is no address.
        EXPECT_THAT(at == std::string::npos ? "" : page.substr(at, 26), AnyOf("", "http://www.w3.org/2000/svg"));
    }
    EXPECT_EQ(page.find("@nonce@"), std::string::npos);
}

TEST_F(Http, NobodyKeepsOrGuessesOrFramesAnAnswer) {
    for (const char *path : {"/", "/state", "/healthz", "/nothing"}) {
        const Reply reply = get(path);
        EXPECT_EQ(reply.headers.at("cache-control"), "no-store") << path;
        EXPECT_EQ(reply.headers.at("x-content-type-options"), "nosniff") << path;
        EXPECT_EQ(reply.headers.at("x-frame-options"), "DENY") << path;
        EXPECT_EQ(reply.headers.at("cross-origin-resource-policy"), "same-origin") << path;
        EXPECT_THAT(reply.headers.at("content-security-policy"), HasSubstr("default-src 'none'")) << path;
    }
}

TEST_F(Http, PathsHaveTheirTypes) {
    EXPECT_EQ(get("/state").headers.at("content-type"), "application/json");
    EXPECT_EQ(get("/nothing").status, 404);
    EXPECT_EQ(get("/state/").status, 404);
    Connection stream(port());
    stream.send("GET /events HTTP/1.1\r\n" + host() + "\r\n");
    EXPECT_EQ(stream.read_headers().headers.at("content-type"), "text/event-stream; charset=utf-8");
}

TEST_F(Http, AnotherHostIsRefused) {
    for (const char *path : {"/", "/state", "/events", "/healthz"}) {
        EXPECT_EQ(request(port(), "GET", path, "Host: example.org\r\n").status, 403) << path;
        EXPECT_EQ(request(port(), "GET", path, "Host: 127.0.0.1.example.org\r\n").status, 403) << path;
        EXPECT_EQ(request(port(), "GET", path, "").status, 400) << path;
        EXPECT_EQ(request(port(), "GET", path, host() + "Host: example.org\r\n").status, 400) << path;
        EXPECT_EQ(request(port(), "HEAD", path, "Host: localhost\r\n").status, 200) << path;
    }
}

TEST_F(Http, AnotherOriginIsRefused) {
    const std::string own = "Origin: http://127.0.0.1:" + std::to_string(port()) + "\r\n";
    for (const char *path : {"/", "/state", "/events", "/healthz"}) {
        EXPECT_EQ(request(port(), "HEAD", path, host() + own).status, 200) << path;
        EXPECT_EQ(request(port(), "GET", path, host() + "Origin: http://example.org\r\n").status, 403) << path;
        EXPECT_EQ(request(port(), "GET", path, host() + "Origin: null\r\n").status, 403) << path;
        EXPECT_EQ(request(port(), "GET", path, host() + own + "Origin: http://example.org\r\n").status, 403) << path;
    }
}

TEST_F(Http, TheBoardCanOnlyBeRead) {
    for (const char *method : {"POST", "PUT", "DELETE", "PATCH", "OPTIONS", "TRACE", "SET"}) {
        const Reply reply = request(port(), method, "/state", host());
        EXPECT_EQ(reply.status, 405) << method;
        EXPECT_EQ(reply.headers.at("allow"), "GET, HEAD") << method;
    }
    EXPECT_EQ(request(port(), "GET", "/state", host() + "Content-Length: 5\r\n").status, 413);
    EXPECT_EQ(request(port(), "GET", "/state", host() + "Transfer-Encoding: chunked\r\n").status, 413);
}

TEST_F(Http, HeadHasTheHeadersAlone) {
    Connection connection(port());
    connection.send("HEAD /state HTTP/1.1\r\n" + host() + "\r\n");
    const Reply head = connection.read_reply(false);
    EXPECT_EQ(head.status, 200);
    EXPECT_NE(head.headers.at("content-length"), "0");
    connection.send("GET /healthz HTTP/1.1\r\n" + host() + "\r\n");
    EXPECT_EQ(connection.read_reply().body, "up\n") << "on the same connection, and after no body";
}

TEST_F(Http, WhatIsNoRequestHarmsNobody) {
    std::vector<Connection> connections;
    for (const char *bytes :
         {"", "\r\n\r\n", "nonsense\r\n\r\n", "GET\r\n\r\n", "\x16\x03\x01\x02", "GET / HTTP/1.1\r\n"}) {
        connections.emplace_back(port());
        connections.back().send(bytes);
    }
    EXPECT_EQ(get("/healthz").status, 200);
    connections.clear();
    Connection large(port());
    large.send("GET / HTTP/1.1\r\n" + host() + "X: " + std::string(100000, 'x') + "\r\n\r\n");
    EXPECT_THAT(large.read_reply().status, AnyOf(0, 413, 431));
    EXPECT_EQ(get("/healthz").status, 200);
}

TEST_F(Http, MoreViewersThanItTakesAreToldToComeBack) {
    std::vector<Connection> viewers;
    for (unsigned i = 0; i < board::kMostViewers; ++i) {
        viewers.push_back(open_stream(port()));
    }
    const Reply refused = get("/events");
    EXPECT_EQ(refused.status, 503);
    EXPECT_TRUE(refused.headers.contains("retry-after"));
    EXPECT_EQ(get("/healthz").status, 200) << "others are still answered";
    for (Connection &viewer : viewers) {
        viewer.read_event();  // so that it waits for news
    }
    viewers.pop_back();
    EXPECT_NO_THROW(open_stream(port()).read_event()) << "there is a place as soon as one has gone";
}

}  // namespace

}  // namespace board_test
