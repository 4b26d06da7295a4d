#include "kelm/containers/intrusive_list.h"

#include "kelm/frame/errors.h"

namespace {
// "Произошла неожидаемая ошибка в класcе "%s". ..."
constexpr unsigned long kUnexpectedErrorInClass = 4614;
}  // namespace

Node::~Node() noexcept(false) { Remove(); }

Node* Node::Prev() {
  Node* p = this;
  while (p->next_ != this) p = p->next_;
  return p;
}

Node& Node::Remove() {
  Node* prev = Prev();
  prev->next_ = next_;
  next_ = this;
  return *prev;
}

Node& Node::RemoveNext() {
  Node* n = next_;
  next_ = n->next_;
  n->next_ = n;
  return *n;
}

Node& Node::operator+=(Node& n) {
  Node* mine = next_;
  next_ = n.next_;
  n.next_ = mine;
  return *this;
}

Node* Node::ForEach(int (*fn)(Node&, void*), void* arg) {
  Node* n = next_;
  for (;;) {
    Node* following = n->next_;
    const bool last = n == this;
    if (fn(*n, arg) != 0) return n;
    if (last) return nullptr;
    n = following;
  }
}

Node* Node::FindPrev(Node& n) {
  Node* p = this;
  do {
    if (p->next_ == &n) return p;
    p = p->next_;
  } while (p != this);
  return nullptr;
}

Node& Node::operator[](unsigned int i) {
  Node* p = this;
  while (i-- != 0) p = p->next_;
  return *p;
}

unsigned int Node::GetNum(Node& n) {
  unsigned int steps = 0;
  for (Node* p = this; p != &n; p = p->next_) ++steps;
  return steps;
}

unsigned int Node::Count() const {
  unsigned int count = 1;
  for (const Node* p = next_; p != this; p = p->next_) ++count;
  return count;
}

void Node::RemoveAll() {
  for (;;) {
    Node* n = &RemoveNext();
    const bool last = n == this;
    delete n;
    if (last) return;
  }
}

List& List::operator+=(Node& n) {
  if (last_ == nullptr)
    last_ = &n;
  else
    *last_ += n;
  return *this;
}

void List::InsLast(Node& n) {
  if (last_ != nullptr) *last_ += n;
  last_ = &n;
}

bool List::Remove(Node* n) {
  if (last_ == nullptr || n == nullptr) return false;
  Node* prev = last_->FindPrev(*n);
  if (prev == nullptr) return false;
  if (prev == n)
    last_ = nullptr;  // n was the only node
  else if (n == last_)
    last_ = prev;
  prev->RemoveNext();
  return true;
}

Node* List::FindPrev(Node& n) { return last_ == nullptr ? nullptr : First()->FindPrev(n); }

Node* List::ForEach(int (*fn)(Node&, void*), void* arg) {
  return last_ == nullptr ? nullptr : last_->ForEach(fn, arg);
}

void List::RemoveAll() {
  if (last_ != nullptr) last_->RemoveAll();
  last_ = nullptr;
}

NodeRefer::~NodeRefer() noexcept(false) {
  if (refs_ != 1) Error(kUnexpectedErrorInClass, "NodeRefer::~NodeRefer");
  refs_ = 0;
  Remove();
}

bool NodeRefer::Dispose() {
  if (refs_ > 1) {
    DecRef();
    return false;
  }
  if (refs_ == 0) Error(kUnexpectedErrorInClass, "NodeRefer::Dispose");
  delete this;
  return true;
}

void NodeRefer::Delete() {
  if (refs_ > 1) {
    DecRef();
    Error(kUnexpectedErrorInClass, "NodeRefer::Delete");
  }
  Dispose();
}

void NodeRefer::RemoveAll() {
  for (;;) {
    auto& n = static_cast<NodeRefer&>(RemoveNext());
    const bool last = &n == this;
    n.Dispose();
    if (last) return;
  }
}

ObjRefer::~ObjRefer() noexcept(false) {
  if (refs_ != 1) Error(kUnexpectedErrorInClass, "ObjRefer::~ObjRefer");
  refs_ = 0;
}

bool ObjRefer::Dispose() {
  if (refs_ > 1) {
    DecRef();
    return false;
  }
  if (refs_ == 0) Error(kUnexpectedErrorInClass, "ObjRefer::Dispose");
  delete this;
  return true;
}
