// What the interfaces of streams answer for classes that leave their defaults.
#include <gtest/gtest.h>

#include <qorv/stream.h>

namespace {

using namespace Qorv;

// The least that a class of each kind has to say.
template <class Base>
struct Plain : Base {
  bool isValid = false;
  bool IsValid() const override { return isValid; }
};
template <class Base>
struct Source : Plain<Base> {
  bool IsEof() const override { return true; }
  std::size_t Read(void*, std::size_t) override { return 0; }
};
template <class Base>
struct Sink : Plain<Base> {
  std::size_t Write(const void*, std::size_t) override { return 0; }
  void Flush() override {}
};
template <class Base>
struct Seekable : Base {
  std::int64_t SeekBegin(const std::int64_t&) override { return 1; }
  std::int64_t SeekCurrent(const std::int64_t&) override { return 2; }
  std::int64_t SeekEnd(const std::int64_t&) override { return 3; }
  std::int64_t GetCurrentPos() const override { return 4; }
  std::int64_t GetSize() const override { return 5; }
};
struct Synth : Source<TSeekableSynth> {
  std::size_t Write(const void*, std::size_t) override { return 0; }
  void Flush() override {}
};

void Judge(IDataObject& object, bool& isValid, const char* name) {
  SCOPED_TRACE(name);
  EXPECT_TRUE(!object);
  isValid = true;
  EXPECT_FALSE(!object);
  EXPECT_EQ(0xFFFFFFFFu, object.GetTypeId());
  EXPECT_STREQ(name, object.GetTypeName());
  stringEx out("before");
  EXPECT_FALSE(object.GetWholeData(out));
  EXPECT_EQ(stringEx("before"), out);
  isValid = false;
}

template <class Stream>
void Judge(const char* name) {
  Stream stream;
  Judge(stream, stream.isValid, name);
}

TEST(DataObject, DefaultsAreThoseOfItsKind) {
  Judge<Plain<IDataObject>>("Unknown Data Object");
  Judge<Source<TDataSource>>("Unknown Data Source");
  Judge<Sink<TDataSink>>("Unknown Data Sink");
  Judge<Seekable<Source<TSeekableSource>>>("Unknown Seekable Data Source");
  Judge<Seekable<Sink<TSeekableSink>>>("Unknown Seekable Data Sink");
}

TEST(DataObject, ASynthAnswersForBothItsBranches) {
  Seekable<Synth> synth;
  TSeekableSource& source = synth;
  TSeekableSink& sink = synth;
  Judge(source, synth.isValid, "Unknown Seekable Data Synth");
  Judge(sink, synth.isValid, "Unknown Seekable Data Synth");
  EXPECT_TRUE(!synth);
  for (ISeekableObj* branch : {static_cast<ISeekableObj*>(&source), static_cast<ISeekableObj*>(&sink)}) {
    EXPECT_EQ(1, branch->SeekBegin(0));
    EXPECT_EQ(5, branch->GetSize());
  }
  sink.FlushBuffer();
}

}  // namespace
