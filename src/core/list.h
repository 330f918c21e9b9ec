#ifndef VIREON_CORE_LIST_H
#define VIREON_CORE_LIST_H

#include <cstddef>
#include <iterator>
#include <utility>

#include "core/result.h"
#include "core/types.h"

// An ordered, doubly linked list of values: interfaces, addresses, headers, XML children.
//
// Owns its items by value; a list of raw pointers does not own what they point to, its holder says
// who does. Iterators stay valid until their own item is removed. An addition or a copy that throws
// leaves the list as it was. Not synchronised.
template <typename T>
class NPT_List {
    struct Node {
        template <typename... Arguments>
        explicit Node(Arguments&&... arguments) : value(std::forward<Arguments>(arguments)...) {}
        Node* previous = nullptr;
        Node* next = nullptr;
        T value;
    };

    template <typename Value>
    class BasicIterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = Value*;
        using reference = Value&;

        explicit BasicIterator(Node* node = nullptr) : node_(node) {}
        Value& operator*() const { return node_->value; }
        Value* operator->() const { return &node_->value; }
        BasicIterator& operator++() {
            node_ = node_->next;
            return *this;
        }
        bool operator==(const BasicIterator& other) const { return node_ == other.node_; }
        bool operator!=(const BasicIterator& other) const { return node_ != other.node_; }
        // False behind the last item.
        explicit operator bool() const { return node_ != nullptr; }

      private:
        friend class NPT_List;
        Node* node_;
    };

  public:
    using Iterator = BasicIterator<T>;
    using ConstIterator = BasicIterator<const T>;

    NPT_List() = default;
    NPT_List(const NPT_List& other) : NPT_List() {
        for (const T& item : other)
            Add(item);
    }
    NPT_List(NPT_List&& other) noexcept { Swap(other); }
    ~NPT_List() { Clear(); }
    // By value: the copy is complete before anything of this list goes, itself included.
    NPT_List& operator=(NPT_List other) noexcept {
        Swap(other);
        return *this;
    }

    NPT_UInt32 GetItemCount() const { return count_; }
    bool IsEmpty() const { return count_ == 0; }

    // Appends at the tail.
    void Add(const T& item) { Link(new Node(item)); }
    void Add(T&& item) { Link(new Node(std::move(item))); }

    // Removes the item that position points at and returns the position behind it.
    Iterator Erase(Iterator position) {
        Node* node = position.node_;
        Iterator following(node->next);
        (node->previous ? node->previous->next : head_) = node->next;
        (node->next ? node->next->previous : tail_) = node->previous;
        --count_;
        delete node;
        return following;
    }

    // Removes the first item equal to value; NPT_ERROR_NOT_FOUND when there is none.
    NPT_Result Remove(const T& value) {
        for (Iterator item = begin(); item; ++item) {
            if (*item == value) {
                Erase(item);
                return NPT_SUCCESS;
            }
        }
        return NPT_ERROR_NOT_FOUND;
    }

    // Moves the first item out; NPT_ERROR_NOT_FOUND, item unchanged, when the list is empty.
    NPT_Result PopHead(T& item) {
        if (!head_) return NPT_ERROR_NOT_FOUND;
        item = std::move(head_->value);
        Erase(begin());
        return NPT_SUCCESS;
    }

    void Clear() {
        while (head_)
            Erase(begin());
    }

    Iterator begin() { return Iterator(head_); }
    Iterator end() { return Iterator(); }
    ConstIterator begin() const { return ConstIterator(head_); }
    ConstIterator end() const { return ConstIterator(); }
    // The last item; the end position when the list is empty.
    Iterator GetLastItem() { return Iterator(tail_); }
    ConstIterator GetLastItem() const { return ConstIterator(tail_); }

  private:
    void Link(Node* node) {
        node->previous = tail_;
        (tail_ ? tail_->next : head_) = node;
        tail_ = node;
        ++count_;
    }
    void Swap(NPT_List& other) noexcept {
        std::swap(head_, other.head_);
        std::swap(tail_, other.tail_);
        std::swap(count_, other.count_);
    }

    Node* head_ = nullptr;
    Node* tail_ = nullptr;
    NPT_UInt32 count_ = 0;
};

#endif
