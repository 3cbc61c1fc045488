// A program of objects that are linked for the sake of linking them.
int main()
{
    return 0;
}
