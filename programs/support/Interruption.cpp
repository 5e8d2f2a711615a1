#include <programs/support/Interruption.h>

namespace programs {

namespace {

volatile std::sig_atomic_t hasCome = 0;

void Note(int) {
    hasCome = 1;
}

}  // namespace

Interruption::Interruption() {
    hasCome = 0;
    struct sigaction note {};
    note.sa_handler = Note;
    note.sa_flags = static_cast<int>(SA_RESETHAND);  // a second signal ends the program at once
    sigaction(SIGINT, &note, &_interrupt);
    sigaction(SIGTERM, &note, &_terminate);
}

Interruption::~Interruption() {
    sigaction(SIGINT, &_interrupt, nullptr);
    sigaction(SIGTERM, &_terminate, nullptr);
}

bool Interruption::HasCome() const {
    return hasCome != 0;
}

}  // namespace programs
