// Has the precompiled headers of the tests made.
int main()
{
    return 0;
}
