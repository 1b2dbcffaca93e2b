#include "app/LumamonApp.h"

int main(int argumentCount, char **arguments) {
    return LumamonApp::run(argumentCount, arguments);
}
