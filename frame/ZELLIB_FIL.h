#pragma once
// File helpers of the in-house library: a plain copy, and a delete that tries
// harder, step by step, and tells the user about each step that failed.

#include <QString>
#include <cstdint>

// Copies source to target (both through ExpandedCopy), replacing the target.
// False when the source cannot be read or the target not written; a target that
// could not be written whole is removed again.
bool FileCopy(const QString& source, const QString& target);

// Deletes the file (name through ExpandedCopy) in up to six stages and answers
// whether one of its delete stages succeeded. Each failed round shows a note.
bool FileDelete(const QString& name);

// The attribute word the notes show, one bit each: 0 read-only (no write right for
// the owner), 1 hidden (name starting with "."), 2 system (neither file nor folder:
// device, pipe, socket), 4 folder, 7 none of these, 10 symbolic link; all bits set
// when the name does not exist.
std::uint16_t FileAttributes(const QString& name);
