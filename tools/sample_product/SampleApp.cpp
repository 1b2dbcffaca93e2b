// The program in the sample product's bundle: it waits for a signal, and does nothing else.
#include <unistd.h>

int main() {
    pause();
}
