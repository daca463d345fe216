// Internal view of the JNI facade's statics, for the library's own tests.
#pragma once

// The facade's result buffer: the reply text of its last command.
const char* JniResultBuffer();
