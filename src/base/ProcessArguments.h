// What other users of the machine see of the process.
#pragma once

namespace tarvo {

/// Overwrites the passwords in the process's own arguments, which every user of the machine can read, and of
/// tarvo:// calls all that they hand over.
void hidePasswords(int argc, char** argv);

} // namespace tarvo
