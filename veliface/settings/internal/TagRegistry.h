#pragma once
// The table of the tag kinds: key, text name, wire reader and text reader of each tag
// class. Both the text parser and the job-setup message readers look tags up here, so a new
// tag class is added in one place.

#include <mavcommon/ByteStream.h>
#include <veliface/settings/VelJobSettingsTag.h>

#include <memory>
#include <string>

namespace veliface::settings {

/// One tag class.
struct TagKind {
  JobTagKey key;  ///< its key
  const char* name;  ///< its key name
  std::shared_ptr<VelJobSettingsTag> (*read)(ByteStream* s);  ///< its wire reader
  std::shared_ptr<VelJobSettingsTag> (*parse)(const std::string& value);  ///< its text reader
};

/// The kind under `key`, nullptr for a key without a tag class.
const TagKind* findTagKind(JobTagKey key);
/// The kind whose name is exactly `name`, nullptr when none is.
const TagKind* findTagKind(const std::string& name);

}  // namespace veliface::settings
