#ifndef VEXEL_TESTS_SUPPORT_INLOCALE_H
#define VEXEL_TESTS_SUPPORT_INLOCALE_H

#include <clocale>
#include <initializer_list>
#include <string>

/// Runs in the first of these C locales that the system knows, while it lives.
class InLocale
{
public:
    explicit InLocale(std::initializer_list<const char*> names) : m_before(std::setlocale(LC_ALL, nullptr))
    {
        for (const char* name : names)
            m_known = m_known || std::setlocale(LC_ALL, name) != nullptr;
    }
    ~InLocale() { std::setlocale(LC_ALL, m_before.c_str()); }
    InLocale(const InLocale&) = delete;
    InLocale& operator=(const InLocale&) = delete;

    bool known() const { return m_known; }

private:
    std::string m_before;
    bool m_known = false;
};

#endif
