bool bothAreUsed();

int main()
{
    return bothAreUsed() ? 0 : 1;
}
