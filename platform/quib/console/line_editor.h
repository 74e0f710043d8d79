// A line from the terminal: editing, completion, recall.
#pragma once

#include <histedit.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "completion.h"
#include "signals.h"

namespace console {

class LineEditor {
public:
    enum class Event {
        kLine,
        kEnd,          // of input
        kInterrupted,  // the line is dropped
        kSignal,       // one that ends the program: signal() tells which
        kNews,         // the watched descriptor is readable
    };
    using Complete = std::function<Completion(std::string_view line)>;

    LineEditor(std::string prompt, Complete complete, Signals &signals);
    LineEditor(const LineEditor &) = delete;
    LineEditor &operator=(const LineEditor &) = delete;

    // The lines that the arrows recall, the oldest first.
    void set_history(const std::vector<std::string> &lines);

    // Reads a line, without its end. watched may be -1.
    Event read(int watched);

    const std::string &line() const { return line_; }
    int signal() const { return signal_; }

private:
    struct EditLineEnd {
        void operator()(EditLine *editor) const { el_end(editor); }
    };
    struct HistoryEnd {
        void operator()(::History *history) const { history_end(history); }
    };

    static LineEditor &of(EditLine *editor);
    static char *prompt(EditLine *editor);
    static int get_letter(EditLine *editor, wchar_t *letter);
    static unsigned char tab_pressed(EditLine *editor, int key);

    // One byte of input or 0; an event otherwise sets event_ and returns -1.
    int next_byte();
    int stop(Event event);
    bool handle_signal();
    void suspend();
    unsigned char insert_completion();

    std::string prompt_;
    Complete complete_;
    Signals &signals_;
    std::unique_ptr<::History, HistoryEnd> history_;
    std::unique_ptr<EditLine, EditLineEnd> editor_;
    int watched_ = -1;
    Event event_ = Event::kEnd;
    int signal_ = 0;
    std::string line_;
};

}  // namespace console
