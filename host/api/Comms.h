// The host's serial library.
//
// What it promises: the receive callback is called once for every byte that arrives, on the port's own thread, after the
// byte can be taken with comms_getc; deregistering returns only when no call is running (a call that deregisters itself
// does not wait); opening a port again and registering again wait for no call: the call runs out, and the next comes when it
// has returned; a port that has been lost answers -1 and a non-zero error; a closed port's object lives on until the next
// comms_port_open or until the plug-in is unloaded. A null handle is answered like a lost port.
#pragma once

#include "host/api/LightweightString.h"
#include "host/api/Ptr.h"

/// An open serial port.
class CommsPort : public iObject {
public:
    /// Discards every byte that has been received and not yet taken, at once. Any thread.
    virtual void clearReceiveQueue() noexcept = 0;
};

/// Opens a port: `baud` bits a second, `dataBits` 5 to 8, `parity` 'N', 'E' or 'O', `stopBits` 1 or 2. Null when it cannot
/// be opened. A port that this process has open under the same name is closed first.
Cv::Ptr<CommsPort> comms_port_open(const LightweightString<wchar_t>& name, int baud, int dataBits, char parity,
                                   int stopBits);
/// Closes the port. The handle stays valid and answers as a lost port does.
void comms_port_close(Cv::Ptr<CommsPort> port);
/// 0 while the port is usable, otherwise the system's error number.
int comms_geterr(Cv::Ptr<CommsPort> port);
/// Takes one received byte. 0: delivered; -1: none is waiting.
int comms_getc(Cv::Ptr<CommsPort> port, unsigned char* byte);
/// Looks at the next received byte and leaves it. 0: delivered; -1: none is waiting.
int comms_peekc(Cv::Ptr<CommsPort> port, unsigned char* byte);
/// Sends `count` bytes. 0: all were handed to the system; anything else: failed.
int comms_putchs(Cv::Ptr<CommsPort> port, unsigned char* bytes, int count);
/// Drives the RTS line: 0 low, 1 high, in order with the data sent.
void comms_set_rts(Cv::Ptr<CommsPort> port, int level);

/// Has `callback(context)` called for bytes that arrive on the open port `name`. An earlier registration of the same
/// callback and context is removed first. `bytesPerCall` and `everyByte` must be 1 and true: one call for each byte.
/// False when no such port is open.
bool commsRegisterHandler(bool (*callback)(void*), LightweightString<wchar_t> name, int bytesPerCall, bool everyByte,
                          void* context);
/// Removes the registration; harmless when there is none.
void commsDeregisterHandler(bool (*callback)(void*), void* context);
