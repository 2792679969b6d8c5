// What the graphics processor is asked for: programs, textures, pictures to draw into, points.

/** The text of a file that the page was made of. */
export const fileText = (name) => document.querySelector(`[data-module="viewer/${name}"]`).textContent.trim();

/** A texture of a size, or of an image; what lies between its pixels is smooth, or the nearest pixel. */
export function makeTexture(gl, {width, height, image, format = [gl.RGBA8, gl.RGBA, gl.UNSIGNED_BYTE]}) {
    const texture = gl.createTexture();
    gl.bindTexture(gl.TEXTURE_2D, texture);
    const [inner, outer, type] = format;
    if (image) gl.texImage2D(gl.TEXTURE_2D, 0, inner, outer, type, image);
    else gl.texImage2D(gl.TEXTURE_2D, 0, inner, width, height, 0, outer, type, null);
    if (image) gl.generateMipmap(gl.TEXTURE_2D);
    gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MIN_FILTER, image ? gl.LINEAR_MIPMAP_LINEAR : gl.NEAREST);
    gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MAG_FILTER, image ? gl.LINEAR : gl.NEAREST);
    for (const side of [gl.TEXTURE_WRAP_S, gl.TEXTURE_WRAP_T]) gl.texParameteri(gl.TEXTURE_2D, side, gl.CLAMP_TO_EDGE);
    return texture;
}

/** Takes points to the graphics processor: a scan, or a tile of one. They are then at points.drawing. */
export function uploadPoints(gl, points) {
    const array = gl.createVertexArray();
    gl.bindVertexArray(array);
    const intensityType = points.intensities instanceof Float32Array ? gl.FLOAT : gl.UNSIGNED_SHORT;
    // In the order of their places in the shader.
    const attributes = [
        [points.positions, 3, gl.FLOAT, false],
        [points.colours, 4, gl.UNSIGNED_BYTE, true],
        [points.intensities, 1, intensityType, false],
        [points.normals, 4, gl.BYTE, true],
    ];
    const buffers = attributes.map(([data, size, type, normalized], place) => {
        if (!data) return null;
        const buffer = gl.createBuffer();
        gl.bindBuffer(gl.ARRAY_BUFFER, buffer);
        gl.bufferData(gl.ARRAY_BUFFER, data, gl.STATIC_DRAW);
        gl.enableVertexAttribArray(place);
        gl.vertexAttribPointer(place, size, type, normalized, 0, 0);
        return buffer;
    });
    gl.bindVertexArray(null);
    points.drawing = {array, buffers};
}

export function releasePoints(gl, points) {
    points.drawing?.buffers.forEach((buffer) => gl.deleteBuffer(buffer));
    gl.deleteVertexArray(points.drawing?.array ?? null);
    points.drawing = null;
}

/** A picture with depths that points are drawn into. */
export class Target {
    constructor(gl) { Object.assign(this, {gl, width: 0, height: 0, frame: gl.createFramebuffer()}); }

    begin({width, height}) {
        const {gl} = this;
        if (width !== this.width || height !== this.height) this.resize(width, height);
        this.bind();
        gl.clearColor(0, 0, 0, 0);
        gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
    }

    bind() {
        const {gl} = this;
        gl.bindFramebuffer(gl.FRAMEBUFFER, this.frame);
        gl.viewport(0, 0, this.width, this.height);
        gl.enable(gl.DEPTH_TEST);
    }

    resize(width, height) {
        const {gl} = this;
        for (const old of [this.colours, this.depths]) gl.deleteTexture(old ?? null);
        const format = [gl.DEPTH_COMPONENT24, gl.DEPTH_COMPONENT, gl.UNSIGNED_INT];
        const colours = makeTexture(gl, {width, height});
        const depths = makeTexture(gl, {width, height, format});
        Object.assign(this, {width, height, colours, depths});
        gl.bindFramebuffer(gl.FRAMEBUFFER, this.frame);
        gl.framebufferTexture2D(gl.FRAMEBUFFER, gl.COLOR_ATTACHMENT0, gl.TEXTURE_2D, colours, 0);
        gl.framebufferTexture2D(gl.FRAMEBUFFER, gl.DEPTH_ATTACHMENT, gl.TEXTURE_2D, depths, 0);
    }
}

/** A vertex and a fragment shader. */
export class Program {
    constructor(gl, vertex, fragment) {
        this.gl = gl;
        this.program = gl.createProgram();
        for (const [type, name] of [[gl.VERTEX_SHADER, `${vertex}.vert`], [gl.FRAGMENT_SHADER, `${fragment}.frag`]]) {
            const shader = gl.createShader(type);
            gl.shaderSource(shader, fileText(`${name}.glsl`));
            gl.compileShader(shader);
            if (!gl.getShaderParameter(shader, gl.COMPILE_STATUS)) throw new Error(gl.getShaderInfoLog(shader));
            gl.attachShader(this.program, shader);
        }
        gl.linkProgram(this.program);
        this.uniforms = {};
        for (let i = 0; i < gl.getProgramParameter(this.program, gl.ACTIVE_UNIFORMS); ++i) {
            const {name} = gl.getActiveUniform(this.program, i);
            this.uniforms[name] = gl.getUniformLocation(this.program, name);
        }
    }

    /** Textures by their names. */
    use(textures = {}) {
        const {gl} = this;
        gl.useProgram(this.program);
        Object.entries(textures).forEach(([name, texture], unit) => {
            gl.activeTexture(gl.TEXTURE0 + unit);
            gl.bindTexture(gl.TEXTURE_2D, texture);
            gl.uniform1i(this.uniforms[name] ?? null, unit);
        });
    }

    /** Numbers, vectors and matrices by their names, as long as they are. */
    set(values) {
        const {gl} = this;
        for (const [name, value] of Object.entries(values)) {
            const place = this.uniforms[name];
            if (value.length === 16) gl.uniformMatrix4fv(place, false, Float32Array.from(value));
            else if (value.length) gl[`uniform${value.length}fv`](place, Float32Array.from(value));
            else gl.uniform1f(place, value);
        }
    }
}
