// SPDX-License-Identifier: BSD-2-Clause
// Ctrl-C as the end of the input: what was done until then is finished properly.
#pragma once

// From now on SIGINT and SIGTERM are noted; the second one of them ends the process as ever.
void CatchInterrupts();

// Printed on standard error with the first of these signals; `text` has to stay.
void SayOnSignal(const char *text);

// As a signal does: a window was closed.
void Interrupt();

bool Interrupted();

// The signal that came, 0 for none.
int InterruptSignal();

// A file that becomes readable with the interruption, for poll; -1, which poll ignores, without a
// catch.
int InterruptFile();
