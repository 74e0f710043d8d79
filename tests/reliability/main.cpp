// Runs the tests; with --write FILE tries all faults and writes what was found into the document.
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include "report.h"

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc == 3 && std::string(argv[1]) == "--write") {
        try {
            return reliability::write_table(argv[2]) ? 0 : 1;
        } catch (const std::exception &error) {
            std::cerr << error.what() << '\n';
            return 1;
        }
    }
    return RUN_ALL_TESTS();
}
