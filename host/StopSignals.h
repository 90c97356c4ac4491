#pragma once

/// From now on SIGINT and SIGTERM only leave a note, and interrupt what waits.
void catchStopSignals();

/// The signal that asked the program to end, or 0.
int stopSignal();
