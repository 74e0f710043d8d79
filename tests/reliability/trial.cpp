#include "trial.h"

#include <cstdlib>
#include <sstream>
#include <thread>

#include "log.h"

namespace reliability {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kLongEnough = std::chrono::seconds(20);

milliseconds since(Clock::time_point start) { return std::chrono::duration_cast<milliseconds>(Clock::now() - start); }

template <class Condition>
bool becomes_true(Condition condition) {
    for (const auto start = Clock::now(); Clock::now() - start < kLongEnough;) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(milliseconds(2));
    }
    return false;
}

// What an application that starts now takes to be so.
Picture picture_of(Scene &scene) { return Subject(scene.server().store_name(), scene.publisher()).picture(); }

// The statuses of a read and a write at the moment when it is known, before the client can be back.
void probe(const Fault &fault, Scene &scene, Finding &finding) {
    finding.read = scene.subject().read();
    if (fault.before_write) {
        fault.before_write(scene);
    }
    finding.write = scene.subject().write();
}

void find_out(const Fault &fault, Scene &scene, Finding &finding) {
    readiness::Application &application = scene.subject().application();
    if (fault.sign != Fault::Sign::kLoss) {
        application.run([&] { probe(fault, scene, finding); });
        return;
    }
    finding.is_known = application.wait_until([&] {
        if (!scene.subject().is_lost()) {
            return false;
        }
        probe(fault, scene, finding);
        return true;
    });
}

// The application is held up meanwhile, so that what it is told does not depend on who is faster.
void end(const Fault &fault, Scene &scene) {
    const readiness::Application::Stall stall(scene.subject().application());
    if (fault.end) {
        fault.end(scene);
    }
    scene.reconnect();
    if (fault.changes) {
        scene.change();
    }
}

std::string told_by(Subject &subject) {
    std::string text;
    for (const auto &[node, heard] : subject.take_told()) {
        const char *name = node == 0                ? "system"
                           : node == kKept.node     ? "kept"
                           : node == kPulled.node   ? "pulled"
                           : node == kInserted.node ? "inserted"
                                                    : "other";
        text +=
            (text.empty() ? "" : ", ") + std::string(name) + (node == 0 || heard.ready != 0 ? " ready" : " not ready");
    }
    return text;
}

}  // namespace

Finding try_out(const Fault &fault, const std::string &program) {
    setenv("OX_MOM_TIMEOUT_MS", std::to_string(fault.limit.count()).c_str(), 1);
    Scene scene(program, fault.has_proxy);
    Finding finding;
    take_lines(scene.subject().thread());
    auto start = Clock::now();
    fault.begin(scene);
    find_out(fault, scene, finding);
    finding.until_known = since(start);
    if (fault.awaited != nullptr) {
        finding.is_known =
            becomes_true([&] { return has_line_with(scene.subject().thread(), fault.awaited); }) && finding.is_known;
    }
    start = Clock::now();
    end(fault, scene);
    finding.until_in_step = since(start);
    const Picture wanted = picture_of(scene);
    start = Clock::now();
    Picture picture;
    finding.is_in_step = becomes_true([&] { return (picture = scene.subject().picture()) == wanted; });
    finding.until_in_step += since(start);
    std::ostringstream difference;
    difference << "the application has\n" << picture << "\nand the store\n" << wanted;
    finding.difference = finding.is_in_step ? "" : difference.str();
    scene.subject().application().run([&] {
        finding.read_afterwards = scene.subject().read();
        finding.write_afterwards = scene.subject().write();
    });
    finding.told = told_by(scene.subject());
    finding.lines = take_lines(scene.subject().thread());
    return finding;
}

}  // namespace reliability
