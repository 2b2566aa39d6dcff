// A C++ program that does nothing: what the language's runtime costs by itself.
#include <unistd.h>

#include <exception>

int main() {
    pause();
    return std::uncaught_exceptions();  // so that the C++ runtime is linked at all
}
