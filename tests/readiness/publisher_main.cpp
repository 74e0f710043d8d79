// A publisher in a process of its own: takes orders from standard input, a line each, and answers each with a line,
// empty when the store has it.

#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>

#include "publisher.h"

int main(int argc, char **argv) {
    if (argc != 2) {
        std::cerr << "usage: readiness_publisher STORE\n";
        return 2;
    }
    try {
        readiness::LocalPublisher publisher(argv[1]);
        for (readiness::Order order; std::cin >> order;) {
            publisher.publish(order);
            std::cout << std::endl;
        }
    } catch (const std::exception &error) {
        std::cout << error.what() << std::endl;
        return 1;
    }
    return 0;
}
