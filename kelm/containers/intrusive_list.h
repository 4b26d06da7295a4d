// Intrusive rings of nodes and intrusive reference counts.
//
// A Node links itself into a ring through its one `next` pointer; the last
// node of a ring points back to the first. A List is a handle on a ring that
// remembers its last node. Nothing here allocates: nodes are the caller's
// objects, and only RemoveAll and Dispose destroy them, through the virtual
// destructor with delete (such nodes must come from new).
//
// NodeRefer and ObjRefer carry a 16-bit use count that starts at 1; Dispose
// drops one use and destroys the object with the last one. Breaking the
// protocol (disposing at count 0, deleting a shared object, destroying a
// counted object other than through Dispose) raises message 4614 naming the
// class and member, which throws; the destructors are therefore
// noexcept(false). Counts and rings are unguarded: callers lock.
#ifndef KELM_CONTAINERS_INTRUSIVE_LIST_H_
#define KELM_CONTAINERS_INTRUSIVE_LIST_H_

#include <cstdint>

class Node {
 public:
  // A node that belongs to no ring points to itself.
  Node() : next_(this) {}
  // Copies the other node's link and nothing else: no relinking.
  Node& operator=(const Node& other) {
    next_ = other.next_;
    return *this;
  }
  // Unlinks the node, so that its ring stays intact.
  virtual ~Node() noexcept(false);

  Node* Next() const { return next_; }
  // The node whose next is this one (this node when alone).
  Node* Prev();
  // Unlinks this node; returns its former predecessor (itself when alone).
  Node& Remove();
  // Unlinks and returns the next node (this node, unchanged, when alone).
  Node& RemoveNext();
  // Exchanges the links of this node and `n`: a lone `n` is inserted right
  // after this node; nodes of two rings join them; two nodes of one ring
  // split it in two.
  Node& operator+=(Node& n);
  // Calls `fn` on this node's next, onward round the ring, this node last;
  // returns the first node for which `fn` answers non-zero, or null. The
  // following node is read before the call, so `fn` may unlink or destroy
  // the node it is given.
  Node* ForEach(int (*fn)(Node&, void*), void* arg);
  // From this node onward, the node whose next is `n`; null after a full turn.
  Node* FindPrev(Node& n);
  // The node `i` steps after this one, wrapping round.
  Node& operator[](unsigned int i);
  // Steps from this node to `n`; `n` must be in the ring.
  unsigned int GetNum(Node& n);
  // Nodes in the ring, at least 1.
  unsigned int Count() const;
  // Called on a ring's last node: deletes every node of the ring, this one
  // last.
  void RemoveAll();

 private:
  Node(const Node&);  // a node cannot be copied into a second ring

  Node* next_;
};

class List {
 public:
  List() : last_(nullptr) {}
  explicit List(Node& n) : last_(&n) {}
  // Copies are further handles on the same ring.
  List(const List&) = default;
  List& operator=(const List&) = default;
  // Leaves the nodes alone.
  virtual ~List() = default;

  void SetList(Node& n) { last_ = &n; }
  Node* Last() { return last_; }
  operator Node*() { return last_; }
  // The list must not be empty.
  Node* First() { return last_->Next(); }
  bool IsEmpty() const { return last_ == nullptr; }

  // Splices n's ring in right after the last node: a lone n becomes the
  // first node.
  List& operator+=(Node& n);
  // The same splice, after which n is the last node.
  void InsLast(Node& n);
  // Unlinks n (leaving it alone, not destroyed); false for an empty list, a
  // null n or a node not in the list.
  bool Remove(Node* n);
  // The predecessor of n, walking from the first node; null if none.
  Node* FindPrev(Node& n);
  // The node i steps after the first.
  Node& operator[](unsigned int i) { return (*First())[i]; }
  // The index of n counted from the first; n must be in the list.
  unsigned int GetNum(Node& n) { return First()->GetNum(n); }
  unsigned int Count() const { return last_ == nullptr ? 0 : last_->Count(); }
  // Visits the nodes from the first to the last; null for an empty list.
  Node* ForEach(int (*fn)(Node&, void*), void* arg);
  // Deletes every node; the list becomes empty.
  void RemoveAll();

 private:
  Node* last_;
};

// A node with a use count: 1 at construction, destroyed by the last Dispose.
class NodeRefer : public Node {
 public:
  NodeRefer() : refs_(1) {}
  // Copies the link and the count.
  NodeRefer& operator=(const NodeRefer& other) {
    Node::operator=(other);
    refs_ = other.refs_;
    return *this;
  }
  // Raises message 4614 ("NodeRefer::~NodeRefer") unless the count is
  // exactly 1; otherwise the count becomes 0 and the node leaves its ring.
  ~NodeRefer() noexcept(false) override;

  void IncRef() { ++refs_; }
  unsigned short RefCount() const { return refs_; }
  // Count above 1: one use less, false. Count 1: deletes itself, true.
  // Count 0: message 4614 ("NodeRefer::Dispose").
  bool Dispose();
  // As Dispose, but a node still referenced after the decrement raises
  // message 4614 ("NodeRefer::Delete").
  void Delete();
  // Called on a ring's last node: unlinks every node of the ring and
  // applies Dispose to each; nodes still referenced elsewhere survive,
  // unlinked.
  void RemoveAll();

 protected:
  void DecRef() { --refs_; }

 private:
  std::uint16_t refs_;
};

// The use count without the link.
class ObjRefer {
 public:
  ObjRefer() : refs_(1) {}
  ObjRefer(const ObjRefer& other) : refs_(other.refs_) {}
  ObjRefer& operator=(const ObjRefer& other) {
    refs_ = other.refs_;
    return *this;
  }
  // Raises message 4614 ("ObjRefer::~ObjRefer") unless the count is
  // exactly 1; the count becomes 0.
  virtual ~ObjRefer() noexcept(false);

  void IncRef() { ++refs_; }
  unsigned short RefCount() const { return refs_; }
  // As NodeRefer::Dispose, naming "ObjRefer::Dispose".
  bool Dispose();

 private:
  void DecRef() { --refs_; }

  std::uint16_t refs_;
};

// Object-count hooks that count nothing.
template <const char* const& descr>
class ObjCounter {
 public:
  ObjCounter() = default;
  ObjCounter(const ObjCounter&) = default;
  ObjCounter& operator=(const ObjCounter&) = default;
  ~ObjCounter() = default;
  static long ConstructedCount() { return 0; }
  static long DestructedCount() { return 0; }
};

class ObjCounterNode {
 public:
  explicit ObjCounterNode(const char* /*descr*/) {}
  static long ConstructedCount() { return 0; }
  static long DestructedCount() { return 0; }
};

#endif  // KELM_CONTAINERS_INTRUSIVE_LIST_H_
