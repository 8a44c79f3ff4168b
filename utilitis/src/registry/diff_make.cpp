#include <unordered_set>
#include <vector>

#include "error/message.h"
#include "registry/diff.h"

namespace Qorv {
namespace IMPL {
namespace {

// Goes through two maps side by side, by the names that are in either, and calls `take` with the entries of each name, one
// of them null where there is none.
template <class Map, class Take>
void Merge(Map& a, Map& b, Take take) {
  auto left = a.begin();
  auto right = b.begin();
  const auto precedes = [](std::string_view name, std::string_view other) { return name < other; };
  while (left != a.end() || right != b.end()) {
    const bool isLeft = right == b.end() || (left != a.end() && !precedes(right->first, left->first));
    const bool isRight = left == a.end() || (right != b.end() && !precedes(left->first, right->first));
    take(isLeft ? &*left : nullptr, isRight ? &*right : nullptr);
    if (isLeft) ++left;
    if (isRight) ++right;
  }
}

// Compares two trees pair of keys by pair, with a list in place of recursion. All records of a key stand before those of its
// subkeys, so that one record of its path is enough. Both keys of a pair stay locked while what is below them is compared.
class CDiffMaker {
 public:
  explicit CDiffMaker(byteEx& data) : sink_(data), writer_(sink_) {}
  CDiffMaker(const CDiffMaker&) = delete;
  CDiffMaker& operator=(const CDiffMaker&) = delete;
  ~CDiffMaker() noexcept(false) {
    DropWhileUnwinding([this] {
      while (!locked_.empty())
        Unlock();
    });
  }

  // The number of records.
  std::uint64_t Run(REGKEY& a, REGKEY& b, std::string_view remarks) {
    sink_.Write(&diffMark, sizeof(diffMark));
    if (!remarks.empty()) PutRecord(diffCode::remarks, remarks);
    if (&a != &b) Enter(a, b, {});
    while (!pairs_.empty())
      Step();
    return count_;
  }

 private:
  struct PAIR {
    REGKEY* a;
    REGKEY* b;
    std::string_view name;
    REGSUBKEYS::iterator next;  // of b
    std::uint64_t pathLength;   // of the pair above
  };

  void Enter(REGKEY& a, REGKEY& b, std::string_view name) {
    if (!onChain_.insert(&b).second) {
      CMessage("CFakeRegistry::_MakeDiff - circular reference\n")
          .Field("  subkey = ", name)
          .Throw<regExp>(regCode::circular);
    }
    const std::uint64_t pathLength = path_.length();
    if (pathLength != 0) path_ += '\\';
    path_ += name;
    Lock(a.lock);
    Lock(b.lock);
    pairs_.push_back({&a, &b, name, b.subkeys.begin(), pathLength});
    CompareKeys(a, b);
  }

  void Leave() {
    const PAIR pair = pairs_.back();
    pairs_.pop_back();
    path_.truncate(pair.pathLength);
    onChain_.erase(pair.b);
    Unlock();
    Unlock();
  }

  // Into the next subkey that may differ, or out of the pair.
  void Step() {
    PAIR& pair = pairs_.back();
    if (pair.next == pair.b->subkeys.end()) return Leave();
    const auto& [name, below] = *pair.next++;
    const auto old = pair.a->subkeys.find(name);
    REGKEY& a = old != pair.a->subkeys.end() ? KeyOf(old->second) : nothing_;
    if (REGKEY& b = KeyOf(below); &a != &b) Enter(a, b, name);
  }

  // All but what is below.
  void CompareKeys(REGKEY& a, REGKEY& b) {
    isPlaced_ = false;
    Merge(a.values, b.values, [this](const auto* was, const auto* is) {
      if (is == nullptr) {
        PutPlaced(diffCode::deleteValue, was->first);
      } else if (was == nullptr) {
        PutValue(diffCode::addValue, is->first, is->second);
      } else if (!(was->second == is->second)) {
        PutValue(diffCode::updateValue, is->first, is->second);
      }
    });
    Merge(a.subkeys, b.subkeys, [this](const auto* was, const auto* is) {
      if (is == nullptr) PutKey(diffCode::deleteKey, was->first);
      if (was == nullptr) PutKey(diffCode::addKey, is->first);
    });
  }

  void PutRecord(std::uint8_t code, std::string_view argument) {
    writer_.PutCtrlCode(code);
    text_.Put(writer_, argument);
    ++count_;
  }

  // The first record of a key comes behind that of its path.
  void PutPlaced(std::uint8_t code, std::string_view argument) {
    if (!isPlaced_) PutPath();
    isPlaced_ = true;
    PutRecord(code, argument);
  }

  void PutPath() {
    for (std::size_t i = 1; i < pairs_.size(); ++i)
      RequireName(pairs_[i].name);
    writer_.PutCtrlCode(diffCode::changeKey);
    writer_.PutString(text_.PathToImage(path_, RequireName));
    ++count_;
  }

  void PutKey(std::uint8_t code, std::string_view name) {
    RequireName(name);
    RequireName(text_.ToImage(name));
    PutPlaced(code, name);
  }

  void PutValue(std::uint8_t code, std::string_view name, const CRegValue& value) {
    PutPlaced(code, name);
    writer_.PutSmallEnum(static_cast<std::uint8_t>(value.Type()));
    PutPayload(writer_, text_, value, "CFakeRegistry::_MakeDiff - invalid type : ");
  }

  static REGKEY& KeyOf(const CRegShare& entry) {
    if (entry.Get() == nullptr)
      CMessage("CFakeRegistry::_MakeDiff - invalid object").Throw<regExp>(regCode::invalidObject);
    return *entry.Get();
  }

  // A record that named another key than the one that is meant would change that.
  static void RequireName(std::string_view name) {
    if (name.empty() || name.find('\\') != std::string_view::npos) {
      CMessage("CFakeRegistry::_MakeDiff - subkey can not be named in a path\n")
          .Field("  subkey = ", name)
          .Throw<regExp>(regCode::invalidArgument);
    }
  }

  void Lock(REGLOCK& lock) QORV_NO_THREAD_SAFETY_ANALYSIS {
    locked_.push_back(nullptr);
    lock.Enter();
    locked_.back() = &lock;
  }

  void Unlock() QORV_NO_THREAD_SAFETY_ANALYSIS {
    REGLOCK* const lock = locked_.back();
    locked_.pop_back();
    if (lock != nullptr) lock->Leave();
  }

  CAppendingSink sink_;
  CISXFWriter writer_;
  CImageText text_;
  std::uint64_t count_ = 0;
  bool isPlaced_ = false;  // the path of the pair has been told
  stringEx path_;          // of the pair
  REGKEY nothing_;         // in the place of a key that is in one tree only
  std::vector<PAIR> pairs_;
  std::vector<REGLOCK*> locked_;
  std::unordered_set<const REGKEY*>
      onChain_;  // of the new tree: only there can a circle make the way endless
};

}  // namespace
}  // namespace IMPL

std::uint64_t CFakeRegistry::_MakeDiff(byteEx& data, const CFakeRegistry& other,
                                       const REGTEXT& remarks) const {
  constexpr std::string_view invalidObject = "CFakeRegistry::_MakeDiff - invalid object";
  IMPL::CRegGuard a(*this, invalidObject);
  IMPL::CRegGuard b(other, invalidObject);
  data.clear();
  try {
    return IMPL::CDiffMaker(data).Run(a.Key(), b.Key(), remarks);
  } catch (const ioExp& failure) {
    data.clear();
    IMPL::CMessage("CFakeRegistry::_MakeDiff - failed writing diff data\n")
        .Inner(failure)
        .Throw<regExp>(regCode::save);
  } catch (...) {
    data.clear();  // a part of a diff is one that does something else
    throw;
  }
}

}  // namespace Qorv
