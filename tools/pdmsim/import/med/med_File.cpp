#include <pdmsim/import/med/med_File.h>

med_File::med_File(const std::string& path) : m_path(path), m_file(path) {
  if (!m_file.IsOpen())
    Fail(hdf_ForeignFile::Cause());
}

std::vector<std::string> med_File::Links(const std::string& group) const {
  std::vector<std::string> names;
  if (!m_file.Links(group, names))
    Fail(hdf_ForeignFile::Cause());
  return names;
}

std::vector<std::string> med_File::LinksIfAny(const std::string& group) const {
  return IsGroup(group) ? Links(group) : std::vector<std::string>();
}

long long med_File::Integer(const std::string& object, const char* attribute) const {
  hdf_ForeignAttribute read;
  if (!m_file.Attribute(object, attribute, read))
    Fail(hdf_ForeignFile::Cause());
  if (read.integers.size() != 1)
    Fail("expected an integer in the attribute " + std::string(attribute) + " of " + object +
         ", found something else");
  return read.integers[0];
}

long long med_File::Integer(const std::string& object, const char* attribute, long long otherwise) const {
  hdf_ForeignAttribute read;
  return m_file.Attribute(object, attribute, read) && read.integers.size() == 1 ? read.integers[0]
                                                                                : otherwise;
}

double med_File::Real(const std::string& object, const char* attribute, double otherwise) const {
  hdf_ForeignAttribute read;
  return m_file.Attribute(object, attribute, read) && read.reals.size() == 1 ? read.reals[0] : otherwise;
}

std::string med_File::Text(const std::string& object, const char* attribute) const {
  hdf_ForeignAttribute read;
  return m_file.Attribute(object, attribute, read) ? read.text : std::string();
}

hdf_ForeignShape med_File::Shape(const std::string& dataset) const {
  hdf_ForeignShape shape;
  if (!m_file.Shape(dataset, shape))
    Fail(hdf_ForeignFile::Cause());
  return shape;
}

std::size_t med_File::Count(const std::string& dataset) const {
  return Shape(dataset).Elements();
}

bool med_File::IsFloat(const std::string& dataset) const {
  const hdf_ForeignShape shape = Shape(dataset);
  return shape.type == hdf_ForeignType::kFloat && shape.bytes == 4;
}

bool med_File::IsLong(const std::string& dataset) const {
  const hdf_ForeignShape shape = Shape(dataset);
  return shape.type != hdf_ForeignType::kFloat && shape.bytes == 8;
}

template <class T>
std::vector<T> med_File::Read(const std::string& dataset, hdf_Datatype type, std::size_t count) const {
  const std::size_t found = Count(dataset);
  if (found != count)
    Fail("expected " + std::to_string(count) + " numbers in " + dataset + ", found " + std::to_string(found));
  std::vector<T> numbers(count);
  if (!m_file.Read(dataset, type, numbers.data()))
    Fail(hdf_ForeignFile::Cause());
  return numbers;
}

std::vector<int> med_File::Ints(const std::string& dataset, std::size_t count) const {
  return Read<int>(dataset, hdf_Datatype::NATIVE_INT, count);
}

std::vector<long long> med_File::Longs(const std::string& dataset, std::size_t count) const {
  return Read<long long>(dataset, hdf_Datatype::NATIVE_INT64, count);
}

std::vector<double> med_File::Doubles(const std::string& dataset, std::size_t count) const {
  return Read<double>(dataset, hdf_Datatype::NATIVE_DOUBLE, count);
}

std::vector<std::string> med_File::Texts(const std::string& dataset) const {
  std::vector<std::string> texts;
  if (!m_file.Texts(dataset, texts))
    Fail(hdf_ForeignFile::Cause());
  return texts;
}
