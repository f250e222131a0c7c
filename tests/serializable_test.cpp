#include "qvutil/serializable.h"

#include <gtest/gtest.h>

#include "carrierstreamchecks.h"
#include "qvutil/inplaceserializable.h"
#include "recordingstream.h"

namespace {

using qvtest::codeOf;

struct Sample : nkbase::Serializable {
  void serializeRaw(OSerialStream& os, nkbase::Prop&) const override {
    os << value;
    os.label("value");
  }
  void deserializeRaw(ISerialStream& is) override { is >> value; }
  std::string getClassID() const override { return "Sample"; }
  int value = 0;
};

TEST(Serializable, TheClassIdentifierComesFirstAndIsChecked) {
  Sample s;
  s.value = 5;
  qvtest::RecordingOStream out;
  nkbase::Prop prop;
  s.serialize(out, prop);
  EXPECT_EQ(out.lines, (std::vector<std::string>{"string Sample", "int 5", "# value"}));

  qvtest::ForgedIStream in({std::string("sample"), 7});
  try {
    s.deserialize(in);
    ADD_FAILURE() << "another class accepted";
  } catch (const nkbase::Exception& e) {
    EXPECT_EQ(e.getCode(), "Unexpected_class_identifier");
    EXPECT_NE(e.getMessage().find("\"Sample\""), std::string::npos);
    EXPECT_NE(e.getMessage().find("\"sample\""), std::string::npos);
  }
  EXPECT_EQ(in.consumed(), 1u);
  EXPECT_EQ(s.value, 5);
}

TEST(Exception, CarriesModuleLineCodeAndMessage) {
  const nkbase::Exception plain("datacarrier/adjacent", 12, "Incompatible_native_file_version");
  EXPECT_EQ(plain.getModule(), "datacarrier/adjacent");
  EXPECT_EQ(plain.getLine(), 12);
  EXPECT_EQ(plain.getMessage(), "");
  EXPECT_STREQ(plain.what(), "Incompatible_native_file_version (datacarrier/adjacent:12)");
  const nkbase::Exception full("m", 3, "Internal_error", "RenderDraw3D object expected");
  EXPECT_STREQ(full.what(), "Internal_error: RenderDraw3D object expected (m:3)");
}

// A block-serializable object with one property list and one int array.
struct Blocks : nkbase::InPlaceSerializable {
  void serializeRaw(OSerialStream&, nkbase::Prop&) const override {}
  void deserializeRaw(ISerialStream&) override {}
  std::string getClassID() const override { return "Blocks"; }
  void createParameters(std::vector<int>& p) const override {
    p.push_back(static_cast<int>(numbers.size()));
    getBlockSerializationParameters(props, p);
  }
  void createBlocks(InPlaceSerDataHolder& h) override {
    if (!numbers.empty()) h.addDataBlock(static_cast<int>(numbers.size() * 4), numbers.data());
    getBlockSerialization(props, h);
  }
  void initFromParameters(const std::vector<int>& p) override {
    numbers.assign(p.at(0), 0);
    initDataFromParameters(props, p, 1);
  }
  std::vector<int> numbers;
  nkbase::PropertyList props;
};

TEST(InPlaceSerializable, PropertyListsTravelAsLengthsThenBytes) {
  Blocks src;
  src.numbers = {1, 2, 3};
  src.props = {{"unit", "mm"}, {"", "empty name"}, {"empty value", ""}};
  std::vector<int> p;
  src.createParameters(p);
  EXPECT_EQ(p, (std::vector<int>{3, 3, 4, 2, 0, 10, 11, 0}));
  InPlaceSerDataHolder h;
  src.createBlocks(h);
  ASSERT_EQ(h.getBlocks().size(), 5u);  // numbers, "unit", "mm", "empty name", "empty value"
  EXPECT_EQ(h.getBlocks()[1].first, 4);

  Blocks dst;
  dst.props = {{"old", "content"}};
  nkbase::transferByBlocks(src, dst);
  EXPECT_EQ(dst.numbers, src.numbers);
  EXPECT_EQ(dst.props, src.props);
}

TEST(InPlaceSerializable, BadParametersAndMismatchedReceiversAreRefused) {
  Blocks dst;
  const auto codeFor = [&](std::vector<int> p) {
    return codeOf([&] { dst.initFromParameters(p); });
  };
  EXPECT_EQ(codeFor({0}), "End_of_file_reached");              // no property count
  EXPECT_EQ(codeFor({0, 2, 1, 1}), "End_of_file_reached");     // two pairs announced, one held
  EXPECT_EQ(codeFor({0, 2000000000}), "End_of_file_reached");  // must not allocate first
  EXPECT_EQ(codeFor({0, 1, -1, 0}), "Invalid_block_parameter");
  EXPECT_EQ(codeFor({0, 0}), "none");

  struct Stubborn : Blocks {  // a receiver whose blocks differ from the sender's
    void initFromParameters(const std::vector<int>&) override { numbers = {0}; }
  } stubborn;
  Blocks src;
  src.numbers = {1, 2};
  EXPECT_EQ(codeOf([&] { nkbase::transferByBlocks(src, stubborn); }), "Block_layout_mismatch");
}

}  // namespace
