// The words on the wire.
#pragma once

namespace Cv::Protocol {

// The line: fixed, whatever port carries it.
constexpr int baudRate = 9600;
constexpr int dataBits = 8;
constexpr char parity = 'N';
constexpr int stopBits = 1;

/// Every command to the program and every packet from it ends with this.
constexpr char packetEnd = ' ';
/// A packet and its end, as the receive buffer holds them.
constexpr unsigned packetCapacity = 11 + 1;

// To the program.
constexpr char versionRequest[] = "? ";
constexpr char versionPreamble[] = "     ";
constexpr char firstCommand[] = "F2 ";
constexpr char ready = 'K';
constexpr char wheelOn = 'W';
constexpr char wheelOff = 'X';

// Lamps and their states.
constexpr int forwardLamp = 1;
constexpr int reverseLamp = 3;
constexpr int jogLamp = 4;
constexpr int lastLamp = 46;
constexpr char lampOff = 'O';
constexpr char lampOn = 'F';
constexpr char lampFastest = 'B';

// From the program.
constexpr char versionPacket = 'V';
constexpr char forwardedPacket = '~';
constexpr char ignoredPacket = 'D';
constexpr char releaseMark = 'U';
constexpr char statusLead = '\\';
constexpr char statusLead8 = 'L';
/// Lead, shuttle position, jog count, fine jog count.
constexpr int shortStatusLength = 1 + 2 + 2 + 4;
/// Lead, seven characters that are not read, shuttle position, jog count.
constexpr int longStatusLength = 1 + 7 + 2 + 2;
/// A key's character is its code plus this.
constexpr int keyBase = 0x40;
/// Shuttle position at rest.
constexpr int shuttleCentre = 127;

// Key codes with a meaning of their own.
constexpr int shuttleCode = 0;
constexpr int stopCode = 12;
constexpr int jogCode = 47;
/// How every key press is queued: the host's flags for a press on a console.
constexpr int keyPressFlags = 1536;

// Speeds.
constexpr int normalPlay = 1024;
constexpr int fastest = 30000;

}  // namespace Cv::Protocol
