#include "host/Program.h"

int main(int count, char** arguments) {
    return simhost::runVokSimhost(count, arguments);
}
