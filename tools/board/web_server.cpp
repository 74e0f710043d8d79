#include "board/web_server.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <microhttpd.h>
#include <set>
#include <strings.h>
#include <sys/socket.h>

#include "board/listener.h"
#include "command_line/exit_status.h"
#include "command_line/text.h"

namespace board {

using namespace command_line;

namespace {

// Whoever neither sends nor takes a byte for so long is let go. Streams send more often.
constexpr unsigned kIdleSeconds = 60;

Text text(std::string words) { return std::make_shared<const std::string>(std::move(words)); }

struct ResponseDeleter {
    void operator()(MHD_Response *response) const { MHD_destroy_response(response); }
};
using Response = std::unique_ptr<MHD_Response, ResponseDeleter>;

void add_header(const Response &response, const char *name, const std::string &value) {
    MHD_add_response_header(response.get(), name, value.c_str());
}

// Nobody keeps an answer, takes it for something else, or shows it within a page of theirs.
void add_shared_headers(const Response &response, const char *type, const std::string &content_policy) {
    add_header(response, "Content-Type", type);
    add_header(response, "Content-Security-Policy", content_policy);
    add_header(response, "Cache-Control", "no-store");
    add_header(response, "X-Content-Type-Options", "nosniff");
    add_header(response, "X-Frame-Options", "DENY");
    add_header(response, "Referrer-Policy", "no-referrer");
    add_header(response, "Cross-Origin-Resource-Policy", "same-origin");
}

void release_text(void *held) { delete static_cast<Text *>(held); }

Response response_of(const Answer &answer) {
    auto held = std::make_unique<Text>(answer.body);
    Response response(MHD_create_response_from_buffer_with_free_callback_cls(
        answer.body->size(), const_cast<char *>(answer.body->data()), release_text, held.get()));
    if (response) {
        static_cast<void>(held.release());
        add_shared_headers(response, answer.type, answer.content_policy);
    }
    return response;
}

MHD_Result queue(MHD_Connection *connection, unsigned status, const Response &response) {
    return response ? MHD_queue_response(connection, status, response.get()) : MHD_NO;
}

Answer words(std::string sentence) { return {"text/plain; charset=utf-8", text(std::move(sentence) + "\n")}; }

// One value of a header that has to stand there no more than once.
struct Header {
    const char *name;
    unsigned count = 0;
    std::string_view value = {};
};

extern "C" MHD_Result look_for_header(void *sought, MHD_ValueKind, const char *name, const char *value) {
    auto &header = *static_cast<Header *>(sought);
    if (strcasecmp(name, header.name) == 0) {
        ++header.count;
        header.value = value == nullptr ? "" : value;
    }
    return MHD_YES;
}

Header header_of(MHD_Connection *connection, const char *name) {
    Header header{.name = name};
    MHD_get_connection_values(connection, MHD_HEADER_KIND, look_for_header, &header);
    return header;
}

bool has_body(MHD_Connection *connection) {
    const Header length = header_of(connection, "Content-Length");
    return (length.count > 0 && length.value != "0") || header_of(connection, "Transfer-Encoding").count > 0;
}

// A stream on its way through a connection, which waits while the stream has nothing to say.
struct Viewer {
    std::set<Viewer *> &all;
    std::unique_ptr<Stream> stream;
    MHD_Connection *connection;
    Text piece = nullptr;
    size_t sent = 0;  // of the piece
    bool waits = false;
    bool gone = false;

    ~Viewer() { all.erase(this); }

    ssize_t read(char *to, size_t most) {
        if (gone) {
            return MHD_CONTENT_READER_END_WITH_ERROR;
        }
        if (!piece || sent == piece->size()) {
            piece = stream->next();
            sent = 0;
        }
        if (!piece || piece->empty()) {
            waits = true;
            MHD_suspend_connection(connection);
            return 0;
        }
        const size_t length = std::min(most, piece->size() - sent);
        piece->copy(to, length, sent);
        sent += length;
        return static_cast<ssize_t>(length);
    }

    void wake() {
        if (waits) {
            waits = false;
            MHD_resume_connection(connection);
        }
    }

    // One that waits is not looked at by the server's loop.
    void notice_hang_up() {
        const MHD_ConnectionInfo *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        char byte = 0;
        if (waits && info != nullptr && recv(info->connect_fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0) {
            gone = true;
            wake();
        }
    }
};

extern "C" ssize_t read_viewer(void *viewer, uint64_t, char *to, size_t most) {
    try {
        return static_cast<Viewer *>(viewer)->read(to, most);
    } catch (const std::exception &) {
        return MHD_CONTENT_READER_END_WITH_ERROR;  // no memory; the page connects again
    }
}

extern "C" void release_viewer(void *viewer) { delete static_cast<Viewer *>(viewer); }

}  // namespace

struct WebServer::State {
    struct DaemonDeleter {
        void operator()(MHD_Daemon *its_daemon) const { MHD_stop_daemon(its_daemon); }
    };

    Address address;
    Site &site;
    std::set<Viewer *> viewers;
    std::unique_ptr<MHD_Daemon, DaemonDeleter> daemon;  // goes first: it releases the viewers

    State(Address where, Site &shown) : address(std::move(where)), site(shown) {}

    std::optional<Answer> refusal(MHD_Connection *connection, unsigned &status) const;
    MHD_Result answer(MHD_Connection *connection, std::string_view path, std::string_view method, void *&seen);
    MHD_Result answer_stream(MHD_Connection *connection, std::unique_ptr<Stream> stream);

    static MHD_Result answer_request(void *state, MHD_Connection *connection, const char *url, const char *method,
                                     const char *, const char *, size_t *, void **seen) {
        try {
            return static_cast<State *>(state)->answer(connection, url, method, *seen);
        } catch (const std::exception &) {
            return MHD_NO;
        }
    }
};

// Nothing for a reader of this machine's, or of the board's own page.
std::optional<Answer> WebServer::State::refusal(MHD_Connection *connection, unsigned &status) const {
    const Header host = header_of(connection, "Host");
    const Header origin = header_of(connection, "Origin");
    if (host.count != 1) {
        status = MHD_HTTP_BAD_REQUEST;
        return words("One Host header is expected.");
    }
    status = MHD_HTTP_FORBIDDEN;
    if (!names_this_machine(host.value, address)) {
        return words("The board is not at " + quote(host.value) + ".");
    }
    if (origin.count > 1 || (origin.count == 1 && !is_own_origin(origin.value, host.value))) {
        return words("Pages of other sites may not read the board.");
    }
    return std::nullopt;
}

// MHD asks twice: at the end of the headers, where an answer ends the connection and no body is taken in, and at the
// end of the request.
MHD_Result WebServer::State::answer(MHD_Connection *connection, std::string_view path, std::string_view method,
                                    void *&seen) {
    unsigned status = MHD_HTTP_OK;
    if (const std::optional<Answer> refused = refusal(connection, status)) {
        return queue(connection, status, response_of(*refused));
    }
    if (method != MHD_HTTP_METHOD_GET && method != MHD_HTTP_METHOD_HEAD) {
        const Response response = response_of(words("The board can only be read."));
        add_header(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
        return queue(connection, MHD_HTTP_METHOD_NOT_ALLOWED, response);
    }
    if (has_body(connection)) {
        return queue(connection, MHD_HTTP_CONTENT_TOO_LARGE, response_of(words("The board takes nothing in.")));
    }
    if (seen == nullptr) {
        seen = this;
        return MHD_YES;
    }
    if (std::unique_ptr<Stream> stream = site.open_stream(path)) {
        return answer_stream(connection, std::move(stream));
    }
    if (const std::optional<Answer> found = site.answer(path)) {
        return queue(connection, MHD_HTTP_OK, response_of(*found));
    }
    return queue(connection, MHD_HTTP_NOT_FOUND, response_of(words("There is no such page; the board is at /.")));
}

MHD_Result WebServer::State::answer_stream(MHD_Connection *connection, std::unique_ptr<Stream> stream) {
    for (Viewer *viewer : viewers) {
        viewer->notice_hang_up();
    }
    const ptrdiff_t left =
        std::count_if(viewers.begin(), viewers.end(), [](const Viewer *viewer) { return !viewer->gone; });
    if (left >= ptrdiff_t{kMostViewers}) {
        const Response response = response_of(words("The board has as many viewers as it takes."));
        add_header(response, MHD_HTTP_HEADER_RETRY_AFTER, "5");
        return queue(connection, MHD_HTTP_SERVICE_UNAVAILABLE, response);
    }
    constexpr size_t kBlock = size_t{16} * 1024;
    std::unique_ptr<Viewer> viewer(new Viewer{viewers, std::move(stream), connection});
    viewers.insert(viewer.get());
    const Response response(
        MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kBlock, read_viewer, viewer.get(), release_viewer));
    if (!response) {
        return MHD_NO;
    }
    static_cast<void>(viewer.release());
    add_shared_headers(response, "text/event-stream; charset=utf-8", Answer{}.content_policy);
    return queue(connection, MHD_HTTP_OK, response);
}

WebServer::WebServer(const Address &address, Site &site) : state_(std::make_unique<State>(address, site)) {
    base::Fd socket = listen_on(state_->address);
    state_->daemon.reset(MHD_start_daemon(MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr,
                                          State::answer_request, state_.get(), MHD_OPTION_LISTEN_SOCKET, socket.get(),
                                          MHD_OPTION_CONNECTION_LIMIT, kMostConnections, MHD_OPTION_CONNECTION_TIMEOUT,
                                          kIdleSeconds, MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_END));
    if (!state_->daemon) {
        throw Failure(kFailed, "cannot start the web server: " + std::string(std::strerror(errno)));
    }
    socket.release();  // the daemon's
}

WebServer::~WebServer() {
    // A connection that waits may not be left so.
    wake_streams();
}

const Address &WebServer::address() const { return state_->address; }

int WebServer::fd() const { return MHD_get_daemon_info(state_->daemon.get(), MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd; }

std::optional<std::chrono::milliseconds> WebServer::patience() const {
    MHD_UNSIGNED_LONG_LONG timeout = 0;
    if (MHD_get_timeout(state_->daemon.get(), &timeout) != MHD_YES) {
        return std::nullopt;
    }
    return std::chrono::milliseconds(timeout);
}

void WebServer::process() { MHD_run(state_->daemon.get()); }

void WebServer::wake_streams() {
    for (Viewer *viewer : state_->viewers) {
        viewer->wake();
    }
}

unsigned WebServer::viewers() const { return static_cast<unsigned>(state_->viewers.size()); }

}  // namespace board
