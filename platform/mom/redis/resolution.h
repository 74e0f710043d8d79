// The addresses of a host. Paths and numbers are known at once. A name is looked up on a thread that lives as long as
// that takes, for the system's look-up blocks, for 20 s and more when no name server answers; the thread shares nothing
// with the client but the question and the answer.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/store_name.h"
#include "redis/socket.h"

namespace mom::redis {

struct Lookup;

// The look-ups of one client: one of a name at a time. Attempts are given up long before a dead name server is, and
// each would leave a thread behind.
class Resolver {
public:
    Resolver();
    Resolver(const Resolver &) = delete;
    Resolver &operator=(const Resolver &) = delete;
    ~Resolver();

    // The one that is under way, or that ended unheard a moment ago; else a new one. nullptr when there is no
    // descriptor left. Throws std::bad_alloc.
    std::shared_ptr<Lookup> look_up(const Endpoint &endpoint);

    // Its answer has been taken: who asks next gets a new one.
    void heard(const Lookup &lookup);

private:
    std::vector<std::shared_ptr<Lookup>> lookups_;
};

class Resolution {
public:
    // known: of a size other than 0 when there is nothing to look up. Throws std::bad_alloc.
    Resolution(const Endpoint &endpoint, const Address &known, Resolver &resolver);
    Resolution(const Resolution &) = delete;
    Resolution &operator=(const Resolution &) = delete;
    ~Resolution();

    bool has_ended() const;

    // Readable when it has ended.
    int fd() const;

    // When it has ended: in the order in which they are to be tried; none: why().
    std::vector<Address> take_addresses();
    const std::string &why() const { return why_; }

private:
    Resolver &resolver_;
    std::shared_ptr<Lookup> lookup_;
    std::vector<Address> addresses_;
    std::string why_;
};

}  // namespace mom::redis
