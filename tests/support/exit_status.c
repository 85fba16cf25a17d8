/* Ends with the status given as its argument: checks that the Windows build's test runner keeps
   a program's status. */
#include <stdlib.h>

int main(int argc, char** argv) { return argc > 1 ? atoi(argv[1]) : 0; }
