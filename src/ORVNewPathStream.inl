// NewPathT: the stream form, written and read through the base library's
// BinaryStream. Included once, by ORVNewPath.cpp.

namespace ORVFile {

template <class CharT>
ORV::BinaryStream& operator<<(ORV::BinaryStream& stream, const NewPathT<CharT>& path) {
  stream << path.m_size << path.m_time;
  BinaryStream_Put(stream, path.m_path,
                   sizeof(CharT) == 1 ? ORV::BinaryStream::NarrowString : ORV::BinaryStream::WideString);
  return stream << path.m_state;
}

template <class CharT>
ORV::BinaryStream& operator>>(ORV::BinaryStream& stream, NewPathT<CharT>& path) {
  std::uint64_t size = 0;
  ORV::DateTime time;
  std::basic_string<CharT> text;
  std::uint32_t state = 0;
  stream >> size >> time;
  BinaryStream_Get(stream, text, sizeof(CharT) == 1 ? ORV::BinaryStream::NarrowString : ORV::BinaryStream::WideString);
  stream >> state;
  path.m_size = size;
  path.m_time = time;
  path.m_path.swap(text);
  path.m_state = state;
  return stream;
}

}  // namespace ORVFile
