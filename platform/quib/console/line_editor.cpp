#include "line_editor.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdio>
#include <cwchar>
#include <iterator>
#include <new>

namespace console {

namespace {

size_t terminal_width() {
    constexpr size_t kUsual = 80;
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

}  // namespace

LineEditor::LineEditor(std::string prompt, Complete complete, Signals &signals)
    : prompt_(std::move(prompt)),
      complete_(std::move(complete)),
      signals_(signals),
      history_(history_init()),
      editor_(el_init("quib", stdin, stdout, stderr)) {
    if (!editor_ || !history_) {
        throw std::bad_alloc();
    }
    HistEvent event;
    history(history_.get(), &event, H_SETSIZE, INT_MAX);  // whoever sets the lines knows how many are enough
    EditLine *editor = editor_.get();
    el_set(editor, EL_CLIENTDATA, this);
    el_set(editor, EL_PROMPT, &LineEditor::prompt);
    el_set(editor, EL_GETCFN, &LineEditor::get_letter);
    el_set(editor, EL_HIST, history, history_.get());
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_ADDFN, "quib-complete", "Complete a command or an argument's name", &LineEditor::tab_pressed);
    el_set(editor, EL_BIND, "^I", "quib-complete", nullptr);
    el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    el_source(editor, nullptr);  // the operator's own habits, of ~/.editrc
}

void LineEditor::set_history(const std::vector<std::string> &lines) {
    HistEvent event;
    history(history_.get(), &event, H_CLEAR);
    for (const std::string &line : lines) {
        history(history_.get(), &event, H_ENTER, line.c_str());
    }
}

LineEditor::Event LineEditor::read(int watched) {
    const HeldWhileEditing signals_wait;
    watched_ = watched;
    event_ = Event::kEnd;
    el_resize(editor_.get());
    el_set(editor_.get(), EL_PREP_TERM, 1);  // before the prompt: whoever sees it may press any key
    int length = 0;
    const char *text = el_gets(editor_.get(), &length);
    if (text == nullptr || length <= 0) {
        return event_;
    }
    line_.assign(text, static_cast<size_t>(length));
    if (line_.back() == '\n') {
        line_.pop_back();
    }
    return Event::kLine;
}

LineEditor &LineEditor::of(EditLine *editor) {
    void *self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    return *static_cast<LineEditor *>(self);
}

char *LineEditor::prompt(EditLine *editor) { return of(editor).prompt_.data(); }

int LineEditor::stop(Event event) {
    event_ = event;
    return -1;
}

int LineEditor::next_byte() {
    pollfd descriptors[] = {{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
                            {.fd = signals_.fd(), .events = POLLIN, .revents = 0},
                            {.fd = watched_, .events = POLLIN, .revents = 0}};
    for (;;) {
        if (poll(descriptors, std::size(descriptors), -1) < 0) {
            continue;
        }
        if (descriptors[1].revents != 0 && handle_signal()) {
            return -1;
        }
        if (descriptors[2].revents != 0) {
            return stop(Event::kNews);
        }
        unsigned char byte = 0;
        if (descriptors[0].revents != 0) {
            return ::read(STDIN_FILENO, &byte, 1) == 1 ? byte : stop(Event::kEnd);
        }
    }
}

// Whether it ends the line.
bool LineEditor::handle_signal() {
    const int number = signals_.take();
    switch (number) {
        case 0:
            return false;
        case SIGINT:
            stop(Event::kInterrupted);
            return true;
        case SIGWINCH:
            el_resize(editor_.get());
            return false;
        case SIGTSTP:
            suspend();
            return false;
        default:
            signal_ = number;
            stop(Event::kSignal);
            return true;
    }
}

void LineEditor::suspend() {
    el_set(editor_.get(), EL_PREP_TERM, 0);
    raise(SIGSTOP);
    el_set(editor_.get(), EL_PREP_TERM, 1);
    el_set(editor_.get(), EL_REFRESH);
}

int LineEditor::get_letter(EditLine *editor, wchar_t *letter) {
    LineEditor &self = of(editor);
    mbstate_t state{};
    for (;;) {
        const int byte = self.next_byte();
        if (byte < 0) {
            return -1;
        }
        const char one = static_cast<char>(byte);
        const size_t used = mbrtowc(letter, &one, 1, &state);
        if (used == static_cast<size_t>(-1)) {
            state = mbstate_t{};  // no letter of this locale: it is left out
        } else if (used != static_cast<size_t>(-2)) {
            return 1;
        }
    }
}

unsigned char LineEditor::tab_pressed(EditLine *editor, int /*key*/) { return of(editor).insert_completion(); }

unsigned char LineEditor::insert_completion() {
    const LineInfo *line = el_line(editor_.get());
    const Completion completion = complete_({line->buffer, static_cast<size_t>(line->cursor - line->buffer)});
    if (!completion.missing.empty()) {
        return el_insertstr(editor_.get(), completion.missing.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
    }
    if (completion.choices.empty()) {
        return CC_ERROR;
    }
    fprintf(stdout, "\n%s", in_columns(completion.choices, terminal_width()).c_str());
    return CC_REDISPLAY;
}

}  // namespace console
