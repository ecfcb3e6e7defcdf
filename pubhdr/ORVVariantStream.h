/// \file
/// The stream form of the core library's Variant: one type tag byte, the
/// number its traits object reports (0 for an empty variant), then the value
/// in a fixed form per type, integers least significant byte first:
///
/// ~~~
///   tag  type             bytes after the tag
///   1    bool             1: 1 when the value is not 0, else 0
///   2,8  char, uchar      1
///   3,9  short, ushort    2
///   4,10 int, uint        4
///   5,11 long, ulong      4 (long is 32-bit on Windows)
///   6    float            4: IEEE 754 single
///   7    double           8: IEEE 754 double
///   14   DateTime         4: the Unix time as a signed 32-bit value (its low
///                            32 bits: times past 2038 do not come back)
///   12,15 char pointer, std::string    BinaryStream_Put form 16
///   13,16 wchar pointer, std::wstring  BinaryStream_Put form 17
/// ~~~
///
/// ~~~
///   Variant(true)   ->  01 01          Variant(1.5f)  ->  06 00 00 C0 3F
///   Variant()       ->  00             Variant("AB")  ->  0C 02 00 00 00 41 42
/// ~~~
///
/// Reading is deliberately not the mirror of writing: a tag outside 1 to 16
/// (0, 17, or any byte from 0x80 up, a negative tag) consumes only that byte
/// and leaves the target as it was, so an empty variant read back does not
/// empty its target. A known tag replaces the target with a variant of that
/// type (a char pointer variant then holds its own copy of the text, cut at
/// the first zero byte). Data cut short throws ORV::Exception from the base
/// library, after consuming what was there; the target then keeps its value.
///
/// Both operators live in the global namespace, as the family's stored-format
/// readers expect. Code inside a namespace that declares an operator<< or
/// operator>> of its own does not find them by unqualified lookup (argument-
/// dependent lookup searches only ORV): qualify the call there, as in
/// \::operator<<(stream, value). The stream's buffer must not be used from
/// another thread meanwhile.
#pragma once

#include "ORVBinaryStream.h"
#include "ORVFileDefs.h"
#include "ORVVariant.h"

/// Writes value in the form above; returns stream. What the stream's buffer
/// throws on a failed write leaves through it.
ORVFILE_API ORV::BinaryStream& operator<<(ORV::BinaryStream& stream, const ORV::Variant& value);
/// Reads one variant into value as described above; returns stream.
/// ORV::Exception when the data is cut short, value then unchanged.
ORVFILE_API ORV::BinaryStream& operator>>(ORV::BinaryStream& stream, ORV::Variant& value);
