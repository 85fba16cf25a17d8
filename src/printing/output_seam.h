// What the layer's own output needs of the platform, apart from the portable printing core so that
// each platform supplies its own: the C stream's error indicator of standard output, and a scope
// in which the layer's writes to standard output cannot end the program.
#pragma once

#include <cstddef>
#include <ostream>

namespace tov::printing {

// The error indicator of the C stream under standard output, which the standard output stream
// shares; the layer's own failed write must not leave it set for the program to find.
bool StdoutErrorIndicator();
void ClearStdoutErrorIndicator();

// Lives for one dump (or one banner). While it lives, a write of the layer to standard output
// whose reader has gone fails with an error instead of raising a signal that ends the program;
// such a signal, raised by the layer's own writes, is taken back before the scope ends. The
// program's errno is left as it was. The program's own writes, outside the scope, keep their
// ordinary behaviour.
class OutputScope {
public:
    OutputScope();
    ~OutputScope();
    OutputScope(const OutputScope&) = delete;
    OutputScope& operator=(const OutputScope&) = delete;

private:
    int savedErrno_;
    bool masked_ = false;
    bool wasPending_ = false;
    alignas(8) unsigned char previousMask_[128];  // the thread's signal mask, where it was changed
};

}  // namespace tov::printing
