// An operator's line, and the format of the command that it is for.
#include "bytes.h"

#include "command_line/words.h"
#include "quib/binding.h"
#include "quib/format.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::Bytes bytes(data, size);
    const auto format = quib::parse_format(bytes.text());
    const std::string_view line = bytes.rest();
    const command_line::Split split = command_line::split(line);
    if (!split.error.empty()) {
        return 0;
    }
    std::vector<std::string> words;
    for (const command_line::Word &word : split.words) {
        fuzz::expect(word.bare <= word.text.size() + line.size(), "what stands bare is of the line");
        words.push_back(word.text);
    }
    if (!split.in_word) {
        const command_line::Split again = command_line::split(command_line::join(words));
        fuzz::expect(again.words.size() == words.size(), "joined words are as many");
        for (size_t i = 0; i < words.size(); ++i) {
            fuzz::expect(again.words[i].text == words[i], "joined words are the same");
        }
    }
    if (format) {
        const quib::Binding binding = quib::bind(*format, split.words);
        fuzz::expect(!binding.error.empty() || binding.values.size() == format->size(), "each argument has a value");
    }
    return 0;
}
