// What a program costs that does nothing, to compare start-ups with.
#include <iostream>

int main() { std::cout << "hello, world\n"; }
