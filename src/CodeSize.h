#pragma once
// Code size of the plug-in: a phone has little room for it (docs/embedded.md).
//
// DAS_COLD marks a function that runs when the service starts or stops, when its
// configuration or stored dial plan changes or when it writes its dial plan log, never for
// a key press, a request or a number conversion. The compiler optimises such a function
// for size and places it apart from the code that runs for every digit, and takes a call
// of it as the unlikely way of a branch. GCC and Clang know the attribute.
#define DAS_COLD __attribute__((cold))
