// SPDX-License-Identifier: BSD-2-Clause
// Ctrl-C as the end of the input: what was done until then is finished properly.
#pragma once

// From now on the first SIGINT or SIGTERM is an interruption; the next one ends the process at once.
void CatchInterrupts();

// Printed on standard error at that first signal; `text` has to live as long as the process.
void SayOnSignal(const char *text);

// As a signal does: a window was closed.
void Interrupt();

bool Interrupted();

// The signal that came, 0 for none.
int InterruptSignal();

// For poll: a file that is readable from the interruption on. Before CatchInterrupts -1, which poll
// ignores.
int InterruptFile();
