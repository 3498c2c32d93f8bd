#include "replay/ReplayMessage.h"

#include "common/ByteCodec.h"

namespace simhost {

namespace {

void write(ByteWriter& writer, const recording::Fields& fields) {
    writer.number(static_cast<std::uint32_t>(fields.size()));
    for (const auto& [name, value] : fields) writer.text(name).text(value);
}

recording::Fields readFields(ByteReader& reader) {
    recording::Fields fields;
    for (auto left = reader.number<std::uint32_t>(); left > 0 && reader.good(); --left) {
        std::string name = reader.text();
        fields[std::move(name)] = reader.text();
    }
    return fields;
}

}  // namespace

std::string RecordedQuestion::encode() const {
    ByteWriter writer;
    writer.text(kind).number(ordinal);
    write(writer, fields);
    return writer.bytes();
}

std::optional<RecordedQuestion> RecordedQuestion::decode(const std::string& bytes) {
    ByteReader reader(bytes.data(), bytes.size());
    RecordedQuestion question;
    question.kind = reader.text();
    question.ordinal = reader.number<std::uint32_t>();
    question.fields = readFields(reader);
    if (!reader.good() || !reader.atEnd()) return std::nullopt;
    return question;
}

std::string encodeFields(const recording::Fields& fields) {
    ByteWriter writer;
    write(writer, fields);
    return writer.bytes();
}

std::optional<recording::Fields> decodeFields(const std::string& bytes) {
    ByteReader reader(bytes.data(), bytes.size());
    recording::Fields fields = readFields(reader);
    if (!reader.good() || !reader.atEnd()) return std::nullopt;
    return fields;
}

}  // namespace simhost
