#pragma once
// Telling the system that a file will be read once, front to back, so it reads ahead generously.

namespace kelvor {

// A hint only: nothing fails when the system ignores it.
void adviseSequentialRead(int descriptor);

}  // namespace kelvor
