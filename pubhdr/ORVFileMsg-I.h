/// \file
/// The message catalogue of ORVFile160NT: its module and registration names
/// and the message numbers.
///
/// The library registers its 16 messages with the base library's ORVMessages
/// registry when it is loaded; an exception of the FileException family names
/// one of them through its MessageInfo (module MSG_MODULE_NAME, number below),
/// and What() gives the text with `"%1"` and `"%2"` filled from the record's
/// arguments (the paths involved).
#pragma once

namespace ORVFile {

/// The module name the library's MessageInfo records carry.
inline constexpr char MSG_MODULE_NAME[] = "ORVFile";
/// The name the catalogue is registered under with ORVMessages.
inline constexpr char MSG_CATALOGUE_NAME[] = "ORVFileMsg-I";

/// The message numbers, with the English text of each; a record names its
/// message by this number.
enum MessageId : unsigned int {
  MSG_CANNOT_OPEN_CONFIG_SOURCE = 0,  ///< "It is impossible to open the configuration source %1."
  MSG_OPEN_READ_ONLY = 1,             ///< "An error occurred while opening the read-only file %1."
  MSG_OPEN_WRITE_ONLY = 2,            ///< "An error occurred while opening the write-only file %1."
  MSG_COPY = 3,                       ///< "An error occurred while copying the file %1 into %2."
  MSG_CREATE = 4,                     ///< "An error occurred while creating the file %1."
  MSG_DELETE = 5,                     ///< "An error occurred while deleting the file %1."
  MSG_GET_VIEW = 6,                   ///< "An error occurred while getting a view of the file %1."
  MSG_MOVE = 7,                       ///< "An error occurred while moving the file %1 into %2."
  MSG_READ = 8,                       ///< "An error occurred while reading data from file %1."
  MSG_RELEASE_VIEW = 9,               ///< "An error occurred while releasing a view of the file %1."
  MSG_RETRIEVE_SERVER = 10,           ///< "An error occurred while retrieving the server name for the file %1."
  MSG_SEEK = 11,                      ///< "An error occurred while seeking in the file %1."
  MSG_SET_ATTRIBUTES = 12,            ///< "An error occurred while setting the attributes on file %1."
  MSG_WRITE = 13,                     ///< "An error occurred while writing data in the file %1."
  MSG_INVALID_CONFIG_SOURCE = 14,     ///< "The configuration source is invalid."
  MSG_GET_ATTRIBUTES = 15,            ///< "An error occurred while getting the file attributes for %1."
  MSG_COUNT = 16                      ///< how many messages there are, not a message
};

}  // namespace ORVFile
