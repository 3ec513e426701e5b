! The library's version answers, its start and end, and the conversions between Fortran and C
! strings, for Fortran callers. Two layers: the bind(C) interfaces to the plain C entries, under
! their C names, for callers that manage their own buffers; and Fortran functions that answer
! deferred-length character values, trimmed of the C terminator and of nothing else.
!
!   use zorbas_shared
!   call zorbas_initialize()
!   print '(a)', zorbas_legacy_title()          ! Veldor 6.19-MNT
!   call zorbas_finalize()
module zorbas_shared
    use, intrinsic :: iso_c_binding, only: c_int, c_char, c_bool, c_ptr, c_null_char
    implicit none
    private

    ! The buffer the Fortran functions hand to the flat entries: the entries' own limit of 80
    ! bytes plus room for the terminator.
    integer, parameter :: version_buffer = 81

    public :: ZORBasShared_initializeC, ZORBasShared_finalizeC
    public :: ZORBasUtlVersion_VersionNumber, ZORBasUtlVersion_VersionFromValues
    public :: ZORBasUtlVersion_LegacyTitle, ZORBasUtlVersion_QNTTitle
    public :: ZORBasUtlVersion_CheckStackVersion
    public :: ZORBasUtlVersion_MajorVersion, ZORBasUtlVersion_MinorVersion
    public :: ZORBasUtlVersion_UpdateVersion, ZORBasUtlVersion_ExtendedRelease
    public :: ZORBasUtlVersion_InVeldorGui, ZORBasUtlVersion_InVeldorKernel
    public :: ZORBasFortranToC, ZORBasCToFortran, ZORBasFortranTrimmedLength
    public :: zorbas_initialize, zorbas_finalize
    public :: zorbas_version_number, zorbas_version_from_values, zorbas_legacy_title
    public :: zorbas_qnt_title, zorbas_check_stack_version, zorbas_in_gui, zorbas_in_kernel
    public :: zorbas_c_string, zorbas_f_string, zorbas_to_fortran

    abstract interface
        ! A text entry that takes only the buffer.
        type(c_ptr) function text_entry(bufLen, buf) bind(C)
            import :: c_int, c_char, c_ptr
            integer(c_int), value :: bufLen
            character(kind=c_char), intent(inout) :: buf(*)
        end function
    end interface

    interface
        subroutine ZORBasShared_initializeC() bind(C, name='ZORBasShared_initializeC')
        end subroutine
        subroutine ZORBasShared_finalizeC() bind(C, name='ZORBasShared_finalizeC')
        end subroutine

        ! Each text entry fills buf (bufLen bytes) and answers its address; see the C header
        ! zorbas/machine/ZORBasUtlVersion_C.h for the two buffer rules.
        type(c_ptr) function ZORBasUtlVersion_VersionNumber(bufLen, buf) &
                bind(C, name='ZORBasUtlVersion_VersionNumber')
            import :: c_int, c_char, c_ptr
            integer(c_int), value :: bufLen
            character(kind=c_char), intent(inout) :: buf(*)
        end function
        type(c_ptr) function ZORBasUtlVersion_VersionFromValues(major, minor, update, extended, &
                bufLen, buf) bind(C, name='ZORBasUtlVersion_VersionFromValues')
            import :: c_int, c_char, c_ptr, c_bool
            integer(c_int), value :: major, minor, update
            logical(c_bool), value :: extended
            integer(c_int), value :: bufLen
            character(kind=c_char), intent(inout) :: buf(*)
        end function
        type(c_ptr) function ZORBasUtlVersion_LegacyTitle(bufLen, buf) &
                bind(C, name='ZORBasUtlVersion_LegacyTitle')
            import :: c_int, c_char, c_ptr
            integer(c_int), value :: bufLen
            character(kind=c_char), intent(inout) :: buf(*)
        end function
        type(c_ptr) function ZORBasUtlVersion_QNTTitle(bufLen, buf) &
                bind(C, name='ZORBasUtlVersion_QNTTitle')
            import :: c_int, c_char, c_ptr
            integer(c_int), value :: bufLen
            character(kind=c_char), intent(inout) :: buf(*)
        end function
        type(c_ptr) function ZORBasUtlVersion_CheckStackVersion(bufLen, buf) &
                bind(C, name='ZORBasUtlVersion_CheckStackVersion')
            import :: c_int, c_char, c_ptr
            integer(c_int), value :: bufLen
            character(kind=c_char), intent(inout) :: buf(*)
        end function
        integer(c_int) function ZORBasUtlVersion_MajorVersion() &
                bind(C, name='ZORBasUtlVersion_MajorVersion')
            import :: c_int
        end function
        integer(c_int) function ZORBasUtlVersion_MinorVersion() &
                bind(C, name='ZORBasUtlVersion_MinorVersion')
            import :: c_int
        end function
        integer(c_int) function ZORBasUtlVersion_UpdateVersion() &
                bind(C, name='ZORBasUtlVersion_UpdateVersion')
            import :: c_int
        end function
        integer(c_int) function ZORBasUtlVersion_ExtendedRelease() &
                bind(C, name='ZORBasUtlVersion_ExtendedRelease')
            import :: c_int
        end function
        logical(c_bool) function ZORBasUtlVersion_InVeldorGui() &
                bind(C, name='ZORBasUtlVersion_InVeldorGui')
            import :: c_bool
        end function
        logical(c_bool) function ZORBasUtlVersion_InVeldorKernel() &
                bind(C, name='ZORBasUtlVersion_InVeldorKernel')
            import :: c_bool
        end function

        ! See zorbas/text/ZORBasFortranString.h: both answer the length the whole text needs.
        integer(c_int) function ZORBasFortranToC(fortran, length, buf, bufLen) &
                bind(C, name='ZORBasFortranToC')
            import :: c_int, c_char
            character(kind=c_char), intent(in) :: fortran(*)
            integer(c_int), value :: length
            character(kind=c_char), intent(inout) :: buf(*)
            integer(c_int), value :: bufLen
        end function
        integer(c_int) function ZORBasCToFortran(text, fortran, length) &
                bind(C, name='ZORBasCToFortran')
            import :: c_int, c_char
            character(kind=c_char), intent(in) :: text(*)
            character(kind=c_char), intent(inout) :: fortran(*)
            integer(c_int), value :: length
        end function
        integer(c_int) function ZORBasFortranTrimmedLength(fortran, length) &
                bind(C, name='ZORBasFortranTrimmedLength')
            import :: c_int, c_char
            character(kind=c_char), intent(in) :: fortran(*)
            integer(c_int), value :: length
        end function
    end interface

contains

    ! Calls nest; only the last end ends the library's sections.
    subroutine zorbas_initialize()
        call ZORBasShared_initializeC()
    end subroutine

    subroutine zorbas_finalize()
        call ZORBasShared_finalizeC()
    end subroutine

    ! The C string in `buf` (up to its terminator, or all of it when there is none) as a Fortran
    ! value of exactly that length.
    function zorbas_f_string(buf) result(text)
        character(kind=c_char), intent(in) :: buf(:)
        character(len=:), allocatable :: text
        integer :: n, i
        n = size(buf)
        do i = 1, size(buf)
            if (buf(i) == c_null_char) then
                n = i - 1
                exit
            end if
        end do
        allocate (character(len=n) :: text)
        do i = 1, n
            text(i:i) = buf(i)
        end do
    end function

    ! The Fortran string without its trailing blanks, terminated, ready for a C char* argument.
    function zorbas_c_string(text) result(buf)
        character(len=*), intent(in) :: text
        character(kind=c_char), allocatable :: buf(:)
        integer(c_int) :: n
        n = ZORBasFortranTrimmedLength(text, len(text, kind=c_int))
        allocate (buf(n + 1))
        n = ZORBasFortranToC(text, len(text, kind=c_int), buf, n + 1_c_int)
    end function

    ! Copies the C string in `buf` into `text`, blank-padded; answers false when it was cut.
    logical function zorbas_to_fortran(buf, text)
        character(kind=c_char), intent(in) :: buf(*)
        character(len=*), intent(inout) :: text
        zorbas_to_fortran = ZORBasCToFortran(buf, text, len(text, kind=c_int)) <= len(text)
    end function

    ! The predicates as default logicals.
    logical function zorbas_in_gui()
        zorbas_in_gui = logical(ZORBasUtlVersion_InVeldorGui())
    end function

    logical function zorbas_in_kernel()
        zorbas_in_kernel = logical(ZORBasUtlVersion_InVeldorKernel())
    end function

    ! The text entries through a buffer of 81 bytes. A buffer too small is reported by the entry
    ! on standard error and gives "" here.
    function answer_of(entry) result(text)
        procedure(text_entry) :: entry
        character(len=:), allocatable :: text
        character(kind=c_char) :: buf(version_buffer)
        type(c_ptr) :: ignored
        buf = c_null_char
        ignored = entry(int(version_buffer, c_int), buf)
        text = zorbas_f_string(buf)
    end function

    function zorbas_version_number() result(text)
        character(len=:), allocatable :: text
        text = answer_of(ZORBasUtlVersion_VersionNumber)
    end function

    function zorbas_version_from_values(major, minor, update, extended) result(text)
        integer, intent(in) :: major, minor, update
        logical, intent(in) :: extended
        character(len=:), allocatable :: text
        character(kind=c_char) :: buf(version_buffer)
        type(c_ptr) :: ignored
        buf = c_null_char
        ignored = ZORBasUtlVersion_VersionFromValues(int(major, c_int), int(minor, c_int), &
                                                     int(update, c_int), &
                                                     logical(extended, c_bool), &
                                                     int(version_buffer, c_int), buf)
        text = zorbas_f_string(buf)
    end function

    function zorbas_legacy_title() result(text)
        character(len=:), allocatable :: text
        text = answer_of(ZORBasUtlVersion_LegacyTitle)
    end function

    function zorbas_qnt_title() result(text)
        character(len=:), allocatable :: text
        text = answer_of(ZORBasUtlVersion_QNTTitle)
    end function

    function zorbas_check_stack_version() result(text)
        character(len=:), allocatable :: text
        text = answer_of(ZORBasUtlVersion_CheckStackVersion)
    end function

end module zorbas_shared
