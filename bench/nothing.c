/* Stands in for every SDK program: does nothing, well. */
int main(void)
{
    return 0;
}
