#pragma once

// Collects what is posted through TqUError while an object of this class lives.
//
// Nothing reaches stderr meanwhile. Guards may be nested: the innermost collects, and the one
// outside goes on when it ends.

#include "util/TqUError.h"

#include <string>
#include <vector>

class PostedErrors
{
public:
    struct Post
    {
        int severity;
        std::string component;
        std::string text;
    };

    PostedErrors() : m_outer(s_innermost)
    {
        s_innermost = this;
        TqUError::SetHandler(&PostedErrors::Collect, this);
    }

    ~PostedErrors()
    {
        s_innermost = m_outer;
        if (m_outer != nullptr) {
            TqUError::SetHandler(&PostedErrors::Collect, m_outer);
        } else {
            TqUError::SetHandler(nullptr, nullptr);
        }
    }

    PostedErrors(PostedErrors const&) = delete;
    PostedErrors& operator=(PostedErrors const&) = delete;

    [[nodiscard]] std::vector<Post> const& Get() const { return m_posts; }

    [[nodiscard]] int Size() const { return static_cast<int>(m_posts.size()); }

    [[nodiscard]] bool Empty() const { return m_posts.empty(); }

    void Clear() { m_posts.clear(); }

    /// One line per post, "severity component: text", for comparing and for failure messages.
    [[nodiscard]] std::vector<std::string> AsLines() const
    {
        std::vector<std::string> lines;
        for (Post const& post : m_posts) {
            lines.push_back(std::to_string(post.severity) + " " + post.component + ": " +
                            post.text);
        }
        return lines;
    }

private:
    static void Collect(TqUSysError::Severity severity, char const* component, char const* text,
                        void* userData)
    {
        static_cast<PostedErrors*>(userData)->m_posts.push_back(
            {static_cast<int>(severity), component != nullptr ? component : "",
             text != nullptr ? text : ""});
    }

    static inline PostedErrors* s_innermost = nullptr;

    PostedErrors* m_outer;
    std::vector<Post> m_posts;
};
